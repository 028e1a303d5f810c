#include "param/SystemReport.h"

#include <CVLParamcor/Parametri.h>

namespace paramcor {

namespace {

info::LibraryFacts libraryFacts(Parametri& owner) {
    info::LibraryFacts facts;
    facts.versions = {owner.VersioneProdotto(), owner.VersioneUpgrade(), owner.VersioneProdottoMarmo(),
                      owner.VersioneProdottoVetro(), owner.VersioneProdottoVetroCam()};
    facts.makerKey = owner.RadReg();
    facts.installationFolder = owner.PercorsoPrincipale();
    // Read once: each read may store a folder's default.
    for (short i = 0; i <= owner.TotalePercorsi(); ++i) {
        QString name, fallback, current, reference;
        // The custom slots that no one has filled have no default.
        if (owner.DatiPercorso(i, name, fallback, current, reference) && !fallback.isEmpty())
            facts.declaredFolders.push_back({name, current});
    }
    facts.language = owner.Lingua();
    const char* unitKeys[] = {"01_SYS", "02_VAL", "03_LIN", "04_SUP", "05_VOL"};
    for (std::size_t i = 0; i < facts.unitRows.size(); ++i)
        facts.unitRows[i] = owner.TraduciChiave(QStringLiteral("PARAM"), QLatin1String(unitKeys[i]));
    facts.temporaryFolder = owner.PercorsoTemp();
    return facts;
}

}  // namespace

info::SystemInformation systemInformation(Parametri& owner, const QString& program, const QString& version) {
    return info::SystemInformation(
        libraryFacts(owner), [&owner](const QString& wording) { return owner.Traduci(wording); }, program, version);
}

}  // namespace paramcor
