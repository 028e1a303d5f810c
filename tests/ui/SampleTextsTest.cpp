// The sample texts carry every wording the windows ask for while they open, in
// English, German, French and Spanish. The windows' lookups are recorded by the
// missing-text log of debug mode.
#include "WindowTesting.h"
#include "info/ui/FormInformazioni.h"
#include "info/ui/FormVersioni.h"
#include "texts/ui/FormLingua.h"
#include "texts/ui/FormTesto.h"
#include "units/ui/FormValuta.h"

#include <QFile>

#include <algorithm>

namespace paramcor {
namespace {

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
