// The windows' wordings. Every window takes its captions and tooltips from the
// text database, in the user's language; a wording the database lacks, or one a
// window never translates, is shown as written. The sample texts carry every
// wording the windows ask for while they open, in English, German, French and
// Spanish; the windows' lookups are recorded by the missing-text log of debug mode.
#include "WindowTesting.h"
#include "ui/folders/FormDipendenze.h"
#include "ui/info/FormInformazioni.h"
#include "ui/info/FormVersioni.h"
#include "ui/texts/FormLingua.h"
#include "ui/texts/FormTesto.h"
#include "ui/units/FormMisure.h"
#include "ui/units/FormValuta.h"

#include <QFile>
#include <QLabel>

#include <algorithm>
#include <memory>

namespace paramcor {
namespace {

struct Caption {
    const char* window;
    const char* control;  // empty: the window itself
    const char* property;
    const char* italian;
    bool translated = true;
    const char* around = "%1";  // what the window writes around the wording
};

const Caption kCaptions[] = {
    {"FormLingua", "", "windowTitle", "Cambio Lingua"},
    // Wordings are found whatever their case: "conferma" is the row of "Conferma".
    {"FormLingua", "Command1", "toolTip", "Conferma"},
    {"FormLingua", "cmdMisure", "text", "Unità di misura"},
    {"FormMisure", "optSistema_2", "text", "USA", false},
    {"FormMisure", "lblMisure_4", "text", "per calcolo peso", true, "(%1)"},
    {"FormMisure", "frmEsempio", "title", "Esempio"},
    {"FormValuta", "lblDesc", "text", "Descrizione"},
    {"FormTesto", "Cerca2", "text", "&Cerca"},
    {"FormTesto", "Aggiorna", "toolTip", "Aggiorno il testo che ho corretto", false},  // not in the database
    {"FormDipendenze", "InvButton", "text", "Inverti", false},
};

TEST(Captions, AreInTheUsersLanguage) {
    test::WindowInstallation installation;
    for (const short language : {2, 3}) {
        installation.setLanguage(language);
        Parametri par;  // also makes the unit rows the units window needs
        std::map<QString, std::unique_ptr<QWidget>> windows;
        windows["FormLingua"].reset(new ui::FormLingua(par, language));
        windows["FormMisure"].reset(new ui::FormMisure);
        windows["FormValuta"].reset(new ui::FormValuta(par));
        windows["FormTesto"].reset(new ui::FormTesto(par));
        windows["FormDipendenze"].reset(new ui::FormDipendenze(par));
        for (const Caption& c : kCaptions) {
            SCOPED_TRACE(QStringLiteral("%1 %2.%3 in %4").arg(c.window, c.control, c.property).arg(language).toStdString());
            const QWidget* window = windows.at(c.window).get();
            const QObject* control = *c.control ? window->findChild<QObject*>(c.control) : window;
            ASSERT_NE(control, nullptr);
            const QString italian = QString::fromUtf8(c.italian);
            EXPECT_EQ(control->property(c.property).toString(),
                      QString::fromUtf8(c.around).arg(c.translated ? test::windowText(italian, language) : italian));
        }
        // However long the wordings, each field's label comes before it: on its row or above it.
        for (const auto& [name, window] : windows) {
            window->adjustSize();
            for (const QLabel* label : window->findChildren<QLabel*>()) {
                const QWidget* field = label->buddy();
                if (!field)
                    continue;
                SCOPED_TRACE((name + u' ' + label->objectName()).toStdString());
                const QRect before(label->mapTo(window.get(), QPoint()), label->size());
                const QRect after(field->mapTo(window.get(), QPoint()), field->size());
                const bool onItsRow = before.top() <= after.bottom() && after.top() <= before.bottom();
                EXPECT_TRUE(onItsRow ? before.right() < after.left() : before.bottom() < after.top());
            }
        }
    }
    EXPECT_TRUE(installation.platform().messages().empty());
}

// What the windows opened on `par` did not find, as the log
// has it. A language's own name that its language writes the same way is looked up
// a second time without its letters beyond Latin; that core is no wording.
QStringList missingWordings(Parametri& par) {
    const QString log = par.PercorsoTemp() + "testi.txt";
    QFile::remove(log);
    par.DebugTraduzioni(true);
    { ui::FormLingua form(par, par.Lingua()); }
    { ui::FormTesto form(par); }
    { ui::FormValuta form(par); }
    { ui::FormInformazioni form(par, "Taglio", "1.0"); }
    { ui::FormVersioni form(par); }
    par.InformazioniSistema();
    par.DebugTraduzioni(false);
    QStringList missing = QString::fromUtf8(test::fileBytes(log)).split("\r\n", Qt::SkipEmptyParts);
    missing.removeIf([](const QString& line) {
        const QString core = line.section(':', 1);
        return std::any_of(languages().begin(), languages().end(), [&](const LanguageInfo& l) {
            return l.ownName != core && l.ownName.contains(core);
        });
    });
    return missing;
}

TEST(SampleTexts, HoldEveryWordingTheWindowsAskForInFourLanguages) {
    test::WindowInstallation installation(std::vector<test::TextRow>{});
    installation.setLanguage(2);
    {
        Parametri bare;  // with no texts at all, the windows' wordings are missing
        const QStringList missing = missingWordings(bare);
        EXPECT_TRUE(missing.contains("   MANCANTE:Cambio Lingua") && missing.contains("   MANCANTE:Versioni"));
    }
    QFile::remove(installation.textDatabase());
    ASSERT_TRUE(QFile::copy(CVLPARAMCOR_SAMPLES "/Testi/CvlTrad.mdb", installation.textDatabase()));
    QFile::setPermissions(installation.textDatabase(), QFile::ReadOwner | QFile::WriteOwner);
    Parametri par;
    for (short language = 2; language <= 5; ++language) {
        par.Lingua(language);
        EXPECT_EQ(missingWordings(par), QStringList()) << language;
    }
}

}  // namespace
}  // namespace paramcor
