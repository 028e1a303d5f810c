// Links every function the public headers declare, and calls those that need no
// window: a declaration the library does not export fails here, when it is linked.
// every_function STORE_FOLDER prints how many functions it reached.
#include <CVLParamcor/Languages.h>
#include <CVLParamcor/OsservatoreRegistro.h>
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/RegistryStore.h>
#include <CVLParamcor/SqliteRegistryStore.h>
#include <CVLParamcor/TextDatabaseError.h>

#include <QCoreApplication>

#include <cstdio>

namespace {

using namespace paramcor;

int reached = 0;

// Taking the address is enough for the linker: the symbol must be exported.
template <class Function>
void link(Function function) {
    static volatile Function kept;
    kept = function;
    ++reached;
}

// Calls the platform's own dialogs and not those of a subclass, so that each of
// them is linked; without windows they answer "not changed".
struct EveryDialog : Dialogs {
    void callAll(Parametri& owner) {
        short language = 1;
        Dialogs::chooseLanguage(owner, language);
        Dialogs::correctTexts(owner);
        Dialogs::editFolders(owner, QString());
        Dialogs::languageChanged(language);
        Dialogs::showInformation(owner, "Client", "1.0");
        Dialogs::showVersions(owner);
        link(&Dialogs::reportNoWindow);
        reached += 6;
    }
};

void linkFreeFunctions() {
    link(&Integer);
    link(&Long);
    link(&Single);
    link(&Double);
    link(&String);
    link(&Boolean);
    link(&Empty);
    link(&Null);
    link(&helpString);
    link(&platform);
    link(&installPlatform);
    link(&registerWindows);
    link(static_cast<std::shared_ptr<RegistryStore> (*)()>(&defaultRegistryStore));
    link(static_cast<std::shared_ptr<RegistryStore> (*)(const SqliteRegistryStore::Options&)>(&defaultRegistryStore));
    link(&headlessMessageBoxes);
    link(&headlessDialogs);
    link(&libraryFolder);
    link(&secondsSinceMidnight);
    link(&systemSeparators);
    link(&languages);
    link(&languageInfo);
    link(&languageOfCode);
    link(&checkKeyPath);
    link(&OsservatoreRegistro::Osserva);
    link(&OsservatoreRegistro::Smetti);
    link(&OsservatoreRegistro::Cambiata);
    link(&SqliteRegistryStore::hiveFile);
    link(&TextDatabaseError::message);
}

void linkParametri() {
    link(static_cast<QString (Parametri::*)() const>(&Parametri::Programma));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::Programma));
    link(static_cast<QString (Parametri::*)() const>(&Parametri::Sezione));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::Sezione));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::CurrentUser));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::LocalMachine));
    link(static_cast<bool (Parametri::*)() const>(&Parametri::ModoDebug));
    link(static_cast<void (Parametri::*)(bool)>(&Parametri::ModoDebug));
    link(static_cast<void (Parametri::*)()>(&Parametri::Push));
    link(static_cast<void (Parametri::*)()>(&Parametri::Pop));
    link(static_cast<QVariant (Parametri::*)(const QString&, const QVariant&)>(&Parametri::LeggiParametro));
    link(static_cast<QVariant (Parametri::*)(const QString&, const QVariant&)>(&Parametri::ScriviParametro));
    link(static_cast<QString (Parametri::*)(const QString&, const QVariant&)>(&Parametri::LeggiParametroStringa));
    link(static_cast<void (Parametri::*)(const QString&, const QString&)>(&Parametri::ScriviParametroStringa));
    link(static_cast<void (Parametri::*)(const QString&, const QString&, const QString&, short)>(&Parametri::RegistraDocumento));
    link(static_cast<QString (Parametri::*)() const>(&Parametri::PercorsoTemp));
    link(static_cast<QString (Parametri::*)(const QString&)>(&Parametri::FileTemporaneo));
    link(static_cast<void (Parametri::*)()>(&Parametri::SvuotaErrori));
    link(static_cast<QString (Parametri::*)() const>(&Parametri::RadReg));
    link(static_cast<QString (Parametri::*)()>(&Parametri::VersioneProdotto));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::VersioneProdotto));
    link(static_cast<QString (Parametri::*)()>(&Parametri::VersioneUpgrade));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::VersioneUpgrade));
    link(static_cast<QString (Parametri::*)()>(&Parametri::VersioneProdottoMarmo));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::VersioneProdottoMarmo));
    link(static_cast<QString (Parametri::*)()>(&Parametri::VersioneProdottoVetro));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::VersioneProdottoVetro));
    link(static_cast<QString (Parametri::*)()>(&Parametri::VersioneProdottoVetroCam));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::VersioneProdottoVetroCam));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoWincor));
    link(static_cast<bool (Parametri::*)() const>(&Parametri::GestionePercorsi));
    link(static_cast<QString (Parametri::*)() const>(&Parametri::PercorsoPrincipale));
    link(static_cast<void (Parametri::*)(const QString&, const QString&)>(&Parametri::ScriviPercorso));
    link(static_cast<QString (Parametri::*)(const QString&)>(&Parametri::Percorso));
    link(static_cast<bool (Parametri::*)() const>(&Parametri::DebugPercorsi));
    link(static_cast<void (Parametri::*)(bool)>(&Parametri::DebugPercorsi));
    link(static_cast<bool (Parametri::*)(const QVariant&)>(&Parametri::CambiaPercorsi));
    link(static_cast<short (Parametri::*)() const>(&Parametri::TotalePercorsi));
    link(static_cast<bool (Parametri::*)(short, QString&, QString&, QString&, QString&)>(&Parametri::DatiPercorso));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoCLF));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoCLF));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoCommesse));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoCommesse));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoSlabvista));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoSlabvista));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoDBOrdina));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoDBOrdina));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoDBGruppo));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoDBGruppo));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoDBLocale));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoDBLocale));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoDef));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoDef));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoDff));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoDff));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoDFFGruppo));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoDFFGruppo));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoDFFLocale));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoDFFLocale));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoDwg));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoDwg));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoDxf));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoDxf));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoEps));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoEps));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoESSI));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoESSI));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoIges));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoIges));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoISO));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoISO));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoISOSlabvista));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoISOSlabvista));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoLastre));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoLastre));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoMR));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoMR));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoPlt));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoPlt));
    link(static_cast<QVariant (Parametri::*)()>(&Parametri::PercorsoPostProc));
    link(static_cast<void (Parametri::*)(const QVariant&)>(&Parametri::PercorsoPostProc));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoProgettiMillora));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoProgettiMillora));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoProgettiProfilex));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoProgettiProfilex));
    link(static_cast<QString (Parametri::*)()>(&Parametri::PercorsoCor));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::PercorsoCor));
    link(static_cast<QString (Parametri::*)(const QString&, const QString&, const QVariant&)>(&Parametri::TraduciChiave));
    link(static_cast<QString (Parametri::*)(const QString&, const QVariant&)>(&Parametri::Traduci));
    link(static_cast<bool (Parametri::*)() const>(&Parametri::DebugTraduzioni));
    link(static_cast<void (Parametri::*)(bool)>(&Parametri::DebugTraduzioni));
    link(static_cast<short (Parametri::*)()>(&Parametri::Lingua));
    link(static_cast<void (Parametri::*)(short)>(&Parametri::Lingua));
    link(static_cast<bool (Parametri::*)()>(&Parametri::CambiaLingua));
    link(static_cast<void (Parametri::*)()>(&Parametri::CambiaTesto));
    link(static_cast<void (Parametri::*)(const QString&)>(&Parametri::ControllaValori));
    link(static_cast<void (Parametri::*)(const QString&, const QString&)>(&Parametri::Informazioni));
    link(static_cast<void (Parametri::*)()>(&Parametri::Versioni));
    link(static_cast<QString (Parametri::*)()>(&Parametri::InformazioniSistema));
    link(static_cast<void (Parametri::*)(QString&, QString&, QString&, QString&)>(&Parametri::DatiFornitore));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    QCoreApplication application(argc, argv);  // the watchers' thread
    linkFreeFunctions();
    linkParametri();

    // The constructors, and the calls that need a store of their own.
    const std::string folder = argv[1];
    SqliteRegistryStore withOptions(folder, SqliteRegistryStore::Options{});
    SqliteRegistryStore twoFolders(folder, folder);
    SqliteRegistryStore twoFoldersWithOptions(folder, folder, SqliteRegistryStore::Options{});
    Platform platform;
    platform.registry = std::make_shared<SqliteRegistryStore>(folder);
    installPlatform(platform);
    Parametri par;
    EveryDialog().callAll(par);
    OsservatoreRegistro watcher;
    OsservatoreRegistro watcherOfStore(platform.registry);
    const bool calledAll = !libraryFolder().isEmpty() && checkKeyPath("SOFTWARE\\Client") == regerr::Success &&
                           languageInfo(2) != nullptr && TextDatabaseError(1, "x").code() == 1 &&
                           !withOptions.hiveFile(Hive::CurrentUser).empty();
    reached += 5;
    std::printf("%d\n", calledAll ? reached : 0);
    return calledAll ? 0 : 1;
}
