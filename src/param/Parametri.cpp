#include <CVLParamcor/Parametri.h>

#include "param/registry/MainParametri.h"
#include "param/registry/ValueEncoding.h"

#include <cfenv>

namespace paramcor {

struct Parametri::Impl {
    bool ready = false;  // creation ran to the end
};

namespace {
MainParametri& selection() {
    return MainParametri::instance();
}
}  // namespace

// Each step that can fail stops the creation; the object still answers, without
// folders or texts.
Parametri::Parametri() : d(std::make_unique<Impl>()) {
    selection().setRegistryRoot(QString());
    clearPendingErrors();
    if (!queryTempFolder())
        return;
    if (!readInstallationFile())
        return;
    selection().selectHive(Hive::CurrentUser, false);
    selection().setProgram(QString());
    selection().setSection(QString());
    if (!openTextDatabase())
        return;
    d->ready = true;
    recordUpgradeVersion();
    checkRegionalSettings();
}

// The selection is shared: destroying any object unwinds the Push stack of all.
Parametri::~Parametri() {
    selection().unwind();
    selection().CloseKey();
    closeTextDatabase();
}

void Parametri::clearPendingErrors() {
    std::feclearexcept(FE_ALL_EXCEPT);
}

// The steps below belong to the subsystems of folders, texts and workstation
// services; until those are in place they succeed without doing anything.
bool Parametri::queryTempFolder() {
    return true;
}
bool Parametri::readInstallationFile() {
    return true;
}
bool Parametri::openTextDatabase() {
    return true;
}
void Parametri::closeTextDatabase() {}
void Parametri::recordUpgradeVersion() {}
void Parametri::checkRegionalSettings() {}

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

}  // namespace paramcor
