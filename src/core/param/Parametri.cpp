#include <CVLParamcor/Parametri.h>

#include "folders/FolderTable.h"
#include "folders/InstallationFile.h"
#include "param/FolderSetup.h"
#include "param/SystemReport.h"
#include "param/UserSkeleton.h"
#include "param/Workstation.h"
#include "selection/MainParametri.h"
#include "selection/ValueEncoding.h"
#include "texts/TextDatabase.h"
#include "texts/Translation.h"
#include "units/UnitRows.h"

#include <CVLParamcor/Platform.h>

namespace paramcor {

struct Parametri::Impl {
    bool ready = false;   // creation ran to the end
    short announced = 0;  // the language the windows were last told
    QString tempFolder;
    Folders folders{MainParametri::instance()};
    TextDatabase texts{MainParametri::instance()};
    // The time of the previous lookup starts at 0, so the first one reads the language.
    Translation translation{texts, MainParametri::instance(), tempFolder};
};

namespace {
MainParametri& selection() {
    return MainParametri::instance();
}

// A user's first program gives them the shop's settings for new users, then the
// login's language when those set none and the suite has it; from then on the
// stored language counts, whatever the login says.
void welcomeNewUser(Translation& translation) {
    const QString problem = workstation::importUserSkeleton(
        *platform().registry, paramcor::PercorsoPrincipale() + workstation::kUserSkeletonName);
    if (!problem.isEmpty())
        platform().messages->show(QStringLiteral("The settings for new users were not imported:\n") + problem,
                                  mb::Exclamation, QStringLiteral("CvlParamcor"));
    const short language = workstation::languageOfLogin();
    if (language != 0)
        translation.welcome(language);
}
}  // namespace

// Each step that can fail stops the creation; the object still answers, without
// folders or texts.
Parametri::Parametri() : d(std::make_unique<Impl>()) {
    selection().setRegistryRoot(QString());
    SvuotaErrori();
    const bool newUser = workstation::userHiveIsNew();
    if (!queryTempFolder())
        return;
    const int storeFailures = selection().storeFailures();
    if (!readInstallationFile())
        return;
    // The folders live in the store: without it every folder would read as empty,
    // and the texts would be looked for at the root, hiding the cause already shown.
    if (selection().storeFailures() != storeFailures)
        return;
    selection().selectHive(Hive::CurrentUser, false);
    selection().setProgram(QString());
    selection().setSection(QString());
    if (newUser)
        welcomeNewUser(d->translation);
    if (!openTextDatabase())
        return;
    announceLanguage();
    d->ready = true;
    recordUpgradeVersion();
    checkRegionalSettings();
}

// The selection is shared: destroying any object unwinds the Push stack of all.
Parametri::~Parametri() {
    selection().unwind();
    selection().closeSelectedKey();
    closeTextDatabase();
}

bool Parametri::queryTempFolder() {
    d->tempFolder = workstation::queryTempFolder();
    return !d->tempFolder.isEmpty();
}

bool Parametri::readInstallationFile() {
    return setUpFolders(d->folders, selection());
}

Folders& foldersOf(Parametri& owner) {
    return owner.d->folders;
}

// The unit rows are made sure of as the user file is opened.
bool Parametri::openTextDatabase() {
    return d->texts.open(
        {d->folders.Percorso(QStringLiteral("Testi")), &checkFilePresent, &units::addMissingRows});
}
void Parametri::closeTextDatabase() {
    d->texts.close();
}

void Parametri::recordUpgradeVersion() {
    VersioneUpgrade(QString::number(CVLPARAMCOR_VERSION_MAJOR) + u'.' + QString::number(CVLPARAMCOR_VERSION_MINOR));
}

void Parametri::checkRegionalSettings() {
    workstation::checkRegionalSettings();
}

// After every lookup too: a language changed by another program is found by
// the next burst of lookups, and Qt's texts follow it then.
void Parametri::announceLanguage() {
    const short language = d->texts.language();
    if (language != d->announced) {
        d->announced = language;
        platform().dialogs->languageChanged(language);
    }
}

QString Parametri::Programma() const {
    return selection().program();
}
void Parametri::Programma(const QString& value) {
    selection().setProgram(value);
}

QString Parametri::Sezione() const {
    return selection().section();
}
void Parametri::Sezione(const QString& value) {
    selection().setSection(value);
}

void Parametri::CurrentUser(const QVariant& NoCorvel) {
    selection().selectHive(Hive::CurrentUser, isTrue(NoCorvel));
}
void Parametri::LocalMachine(const QVariant& NoCorvel) {
    selection().selectHive(Hive::LocalMachine, isTrue(NoCorvel));
}

bool Parametri::ModoDebug() const {
    return selection().debugMode();
}
void Parametri::ModoDebug(bool value) {
    selection().setDebugMode(value);
}

void Parametri::Push() {
    selection().Push();
}
void Parametri::Pop() {
    selection().Pop();
}

QVariant Parametri::LeggiParametro(const QString& Chiave, const QVariant& Default) {
    return selection().ReadValue(Chiave, Default);
}

QVariant Parametri::ScriviParametro(const QString& Variabile, const QVariant& Valore) {
    selection().WriteValue(Variabile, Valore);
    return QVariant();
}

QString Parametri::LeggiParametroStringa(const QString& Chiave, const QVariant& Default) {
    return selection().ReadString(Chiave, Default.isValid() ? Default.toString() : QString());
}

void Parametri::ScriviParametroStringa(const QString& Variabile, const QString& Valore) {
    selection().WriteString(Variabile, Valore);
}

void Parametri::RegistraDocumento(const QString& Estensione, const QString& Gruppo, const QString& Shell,
                                  short IdIcona) {
    workstation::registerDocument(selection(), Estensione, Gruppo, Shell, IdIcona);
}

QString Parametri::PercorsoTemp() const {
    return d->tempFolder;
}
QString Parametri::FileTemporaneo(const QString& Prefisso) {
    return workstation::createTempFile(d->tempFolder, Prefisso);
}
void Parametri::SvuotaErrori() {
    workstation::clearPendingErrors();
}
QString Parametri::RadReg() const {
    return workstation::makerKey(selection());
}

using workstation::VersionRecord;
QString Parametri::VersioneProdotto() {
    return workstation::readVersion(selection(), VersionRecord::Product);
}
void Parametri::VersioneProdotto(const QString& value) {
    workstation::writeVersion(selection(), VersionRecord::Product, value);
}
QString Parametri::VersioneUpgrade() {
    return workstation::readVersion(selection(), VersionRecord::Upgrade);
}
void Parametri::VersioneUpgrade(const QString& value) {
    workstation::writeVersion(selection(), VersionRecord::Upgrade, value);
}
QString Parametri::VersioneProdottoMarmo() {
    return workstation::readVersion(selection(), VersionRecord::Marble);
}
void Parametri::VersioneProdottoMarmo(const QString& value) {
    workstation::writeVersion(selection(), VersionRecord::Marble, value);
}
QString Parametri::VersioneProdottoVetro() {
    return workstation::readVersion(selection(), VersionRecord::Glass);
}
void Parametri::VersioneProdottoVetro(const QString& value) {
    workstation::writeVersion(selection(), VersionRecord::Glass, value);
}
QString Parametri::VersioneProdottoVetroCam() {
    return workstation::readVersion(selection(), VersionRecord::GlassCam);
}
void Parametri::VersioneProdottoVetroCam(const QString& value) {
    workstation::writeVersion(selection(), VersionRecord::GlassCam, value);
}

void Parametri::ControllaValori(const QString& DB) {
    units::ControllaValori(DB);
}

void Parametri::Informazioni(const QString& NomeProgramma, const QString& VersioneProgramma) {
    platform().dialogs->showInformation(*this, NomeProgramma, VersioneProgramma);
}

void Parametri::Versioni() {
    platform().dialogs->showVersions(*this);
}

QString Parametri::InformazioniSistema() {
    return systemInformation(*this).text();
}

void Parametri::DatiFornitore(QString& Nome, QString& Telefono, QString& Indirizzo, QString& Sito) {
    QString* const outputs[] = {&Nome, &Telefono, &Indirizzo, &Sito};
    for (qsizetype i = 0; i < kSupplierKeys.size(); ++i) {
        const QString stored = workstation::readMachineValue(selection(), kSupplierKeys[i]).trimmed();
        *outputs[i] = stored.isEmpty() ? d->folders.supplierDefaults().value(kSupplierKeys[i].toUpper()) : stored;
    }
}

namespace {
QString characters(const QVariant& Caratteri) {
    return Caratteri.isValid() ? Caratteri.toString() : QString();
}
}  // namespace

QString Parametri::TraduciChiave(const QString& Programma, const QString& Progressivo, const QVariant& Caratteri) {
    QString text = d->translation.TraduciChiave(Programma, Progressivo, characters(Caratteri));
    announceLanguage();
    return text;
}
QString Parametri::Traduci(const QString& Testo, const QVariant& Caratteri) {
    QString text = d->translation.Traduci(Testo, characters(Caratteri));
    announceLanguage();
    return text;
}
bool Parametri::DebugTraduzioni() const {
    return d->translation.debug();
}
void Parametri::DebugTraduzioni(bool value) {
    d->translation.DebugTraduzioni(value);
}
short Parametri::Lingua() {
    const short language = d->translation.readLanguage();
    announceLanguage();
    return language;
}
void Parametri::Lingua(short value) {
    d->translation.writeLanguage(value);
    announceLanguage();
}

bool Parametri::CambiaLingua() {
    short chosen = Lingua();
    const bool changed = platform().dialogs->chooseLanguage(*this, chosen);
    if (changed) {
        Lingua(chosen);
        workstation::writeLegacyLanguageFile(chosen);
    }
    return changed;
}

void Parametri::CambiaTesto() {
    if (d->texts.language() != 1)
        platform().dialogs->correctTexts(*this);
}

QString Parametri::PercorsoWincor() {
    return Percorso(QStringLiteral("Wincor"));
}
bool Parametri::GestionePercorsi() const {
    return false;
}
QString Parametri::PercorsoPrincipale() const {
    return paramcor::PercorsoPrincipale();
}
void Parametri::ScriviPercorso(const QString& NomePercorso, const QString& PercorsoDefault) {
    d->folders.ScriviPercorso(NomePercorso, PercorsoDefault);
}
QString Parametri::Percorso(const QString& NomePercorso) {
    return d->folders.Percorso(NomePercorso);
}
bool Parametri::DebugPercorsi() const {
    return d->folders.DebugPercorsi();
}
void Parametri::DebugPercorsi(bool value) {
    d->folders.DebugPercorsi(value);
}
bool Parametri::CambiaPercorsi(const QVariant& Filtro) {
    return platform().dialogs->editFolders(*this, Filtro.isValid() ? Filtro.toString().toUpper() : QString());
}
short Parametri::TotalePercorsi() const {
    return d->folders.lastRow();
}
bool Parametri::DatiPercorso(short Indice, QString& Nome, QString& Default, QString& DefaultV, QString& Rif) {
    return d->folders.DatiPercorso(Indice, Nome, Default, DefaultV, Rif);
}

// The fixed folders resolve one declared name each; their setters drop the value.
QVariant Parametri::PercorsoCLF() {
    return Percorso(QStringLiteral("CLF"));
}
void Parametri::PercorsoCLF(const QVariant&) {}
QString Parametri::PercorsoCommesse() {
    return Percorso(QStringLiteral("Commesse"));
}
void Parametri::PercorsoCommesse(const QString&) {}
QVariant Parametri::PercorsoSlabvista() {
    return Percorso(QStringLiteral("Slabvista"));
}
void Parametri::PercorsoSlabvista(const QVariant&) {}
QString Parametri::PercorsoDBOrdina() {
    return Percorso(QStringLiteral("DBOrdina"));
}
void Parametri::PercorsoDBOrdina(const QString&) {}
QVariant Parametri::PercorsoDBGruppo() {
    return Percorso(QStringLiteral("DBGruppo"));
}
void Parametri::PercorsoDBGruppo(const QVariant&) {}
QVariant Parametri::PercorsoDBLocale() {
    return Percorso(QStringLiteral("DBLocale"));
}
void Parametri::PercorsoDBLocale(const QVariant&) {}
QString Parametri::PercorsoDef() {
    return Percorso(QStringLiteral("DEF"));
}
void Parametri::PercorsoDef(const QString&) {}
QString Parametri::PercorsoDff() {
    return Percorso(QStringLiteral("DFF"));
}
void Parametri::PercorsoDff(const QString&) {}
QVariant Parametri::PercorsoDFFGruppo() {
    return Percorso(QStringLiteral("DFFGruppo"));
}
void Parametri::PercorsoDFFGruppo(const QVariant&) {}
// This getter has always handed its folder to the setter of PercorsoDFFGruppo and
// returned nothing; programs of the suite are written around it.
QVariant Parametri::PercorsoDFFLocale() {
    PercorsoDFFGruppo(QVariant(Percorso(QStringLiteral("DFFLocale"))));
    return QVariant();
}
void Parametri::PercorsoDFFLocale(const QVariant&) {}
QString Parametri::PercorsoDwg() {
    return Percorso(QStringLiteral("DWG"));
}
void Parametri::PercorsoDwg(const QString&) {}
QString Parametri::PercorsoDxf() {
    return Percorso(QStringLiteral("DXF"));
}
void Parametri::PercorsoDxf(const QString&) {}
QString Parametri::PercorsoEps() {
    return Percorso(QStringLiteral("EPS"));
}
void Parametri::PercorsoEps(const QString&) {}
QString Parametri::PercorsoESSI() {
    return Percorso(QStringLiteral("ESSI"));
}
void Parametri::PercorsoESSI(const QString&) {}
QString Parametri::PercorsoIges() {
    return Percorso(QStringLiteral("IGES"));
}
void Parametri::PercorsoIges(const QString&) {}
QString Parametri::PercorsoISO() {
    return Percorso(QStringLiteral("ISO"));
}
void Parametri::PercorsoISO(const QString&) {}
// Like PercorsoDFFLocale, with the setter of PercorsoISO.
QVariant Parametri::PercorsoISOSlabvista() {
    PercorsoISO(Percorso(QStringLiteral("ISOSLABVISTA")));
    return QVariant();
}
void Parametri::PercorsoISOSlabvista(const QVariant&) {}
QString Parametri::PercorsoLastre() {
    return Percorso(QStringLiteral("Lastre"));
}
void Parametri::PercorsoLastre(const QString&) {}
QString Parametri::PercorsoMR() {
    return Percorso(QStringLiteral("MR"));
}
void Parametri::PercorsoMR(const QString&) {}
QString Parametri::PercorsoPlt() {
    return Percorso(QStringLiteral("PLT"));
}
void Parametri::PercorsoPlt(const QString&) {}
QVariant Parametri::PercorsoPostProc() {
    return Percorso(QStringLiteral("PostProc"));
}
void Parametri::PercorsoPostProc(const QVariant&) {}
QString Parametri::PercorsoProgettiMillora() {
    return Percorso(QStringLiteral("ProgettiMillora"));
}
void Parametri::PercorsoProgettiMillora(const QString&) {}
QString Parametri::PercorsoProgettiProfilex() {
    return Percorso(QStringLiteral("ProgettiProfilex"));
}
void Parametri::PercorsoProgettiProfilex(const QString&) {}
QString Parametri::PercorsoCor() {
    return Percorso(QStringLiteral("COR"));
}
void Parametri::PercorsoCor(const QString&) {}

}  // namespace paramcor
