// The sample texts carry every wording the windows ask for while they open, in
// English, German, French and Spanish. The windows' lookups are recorded by the
// missing-text log of debug mode; the units window, which translates through an
// object of its own, shows each missing wording in Italian.
#include "WindowTesting.h"
#include "info/ui/FormInformazioni.h"
#include "info/ui/FormVersioni.h"
#include "texts/ui/FormLingua.h"
#include "texts/ui/FormTesto.h"
#include "units/ui/FormMisure.h"
#include "units/ui/FormValuta.h"

#include <QAbstractButton>
#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QRegularExpression>

#include <algorithm>

namespace paramcor {
namespace {

// What the windows opened on `par`, and the `wordings`, did not find, as the log
// has it. A language's own name that its language writes the same way is looked up
// a second time without its letters beyond Latin; that core is no wording.
QStringList missingWordings(Parametri& par, const QStringList& wordings = {}) {
    const QString log = par.PercorsoTemp() + "testi.txt";
    QFile::remove(log);
    par.DebugTraduzioni(true);
    { ui::FormLingua form(par, par.Lingua()); }
    { ui::FormTesto form(par); }
    { ui::FormValuta form(par); }
    { ui::FormInformazioni form(par, "Taglio", "1.0"); }
    { ui::FormVersioni form(par); }
    par.InformazioniSistema();
    for (const QString& wording : wordings)
        par.Traduci(wording);
    par.DebugTraduzioni(false);
    QFile file(log);
    file.open(QIODevice::ReadOnly);
    QStringList missing = QString::fromUtf8(file.readAll()).split("\r\n", Qt::SkipEmptyParts);
    missing.removeIf([](const QString& line) {
        const QString core = line.section(':', 1);
        return std::any_of(languages().begin(), languages().end(), [&](const LanguageInfo& l) {
            return l.ownName != core && l.ownName.contains(core);
        });
    });
    return missing;
}

// The captions of the units window, by widget; its systems' third name, "USA", is
// the same in every language.
QStringList unitsCaptions() {
    ui::FormMisure form;
    QStringList captions{form.windowTitle()};
    for (const QWidget* w : form.findChildren<QWidget*>()) {
        const bool captioned = qobject_cast<const QLabel*>(w) || qobject_cast<const QAbstractButton*>(w);
        captions << w->toolTip()
                 << w->property(qobject_cast<const QGroupBox*>(w) ? "title" : captioned ? "text" : "").toString();
    }
    captions.removeAll("USA");
    return captions;
}

TEST(SampleTexts, HoldEveryWordingTheWindowsAskForInFourLanguages) {
    test::WindowInstallation installation(std::vector<test::TextRow>{});
    installation.setLanguage(2);
    {
        Parametri bare;  // with no texts at all, every window's wordings are missing
        const QStringList missing = missingWordings(bare);
        for (const char* wording : {"Cambio Lingua", "Cambio Testo", "Informazioni su", "Versioni"})
            EXPECT_TRUE(missing.contains(QString("   MANCANTE:") + wording)) << wording;
    }
    installation.setLanguage(1);
    const QStringList italian = unitsCaptions();

    QFile::remove(installation.textDatabase());
    ASSERT_TRUE(QFile::copy(CVLPARAMCOR_SAMPLES "/Testi/CvlTrad.mdb", installation.textDatabase()));
    QFile::setPermissions(installation.textDatabase(), QFile::ReadOwner | QFile::WriteOwner);
    Parametri par;
    for (short language = 2; language <= 5; ++language) {
        SCOPED_TRACE(language);
        par.Lingua(language);
        // A caption of the units window that stayed Italian must be a wording
        // that this language writes the same way; worked examples hold figures.
        const QStringList translated = unitsCaptions();
        ASSERT_EQ(translated.size(), italian.size());
        QStringList unchanged;
        for (qsizetype i = 0; i < italian.size(); ++i)
            if (translated[i] == italian[i] && italian[i].contains(QRegularExpression("^[^0-9]*[a-z][^0-9]*$")))
                unchanged << italian[i];
        EXPECT_EQ(missingWordings(par, unchanged), QStringList());
    }
}

}  // namespace
}  // namespace paramcor
