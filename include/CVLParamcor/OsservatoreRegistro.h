// Being told when the registry changes, instead of reading it again and again.
#pragma once

#include <CVLParamcor/Export.h>

#include <CVLParamcor/RegistryStore.h>

#include <QObject>
#include <QString>

#include <memory>

namespace paramcor {

/// Watches registry keys and tells, with one Cambiata signal per changed key, when
/// a program (this one or another) commits a change under them: a value set or
/// removed, a key made or deleted. It waits on the store's change file with the
/// system's file notifications (inotify): no timer, nothing runs while nothing
/// changes. Signals come from the event loop of the thread that made the object.
///
///     paramcor::OsservatoreRegistro osservatore;
///     osservatore.Osserva(paramcor::Hive::CurrentUser, "SOFTWARE\\Corvel", true);
///     QObject::connect(&osservatore, &paramcor::OsservatoreRegistro::Cambiata,
///                      [](paramcor::Hive, const QString& chiave) { /* read it again */ });
class CVLPARAMCOR_EXPORT OsservatoreRegistro : public QObject {
    Q_OBJECT

public:
    /// On the registry store of the installed platform.
    explicit OsservatoreRegistro(QObject* parent = nullptr);
    /// On another store, such as one in a test's temporary folder.
    explicit OsservatoreRegistro(std::shared_ptr<RegistryStore> store, QObject* parent = nullptr);
    ~OsservatoreRegistro() override;

    /// Starts watching `chiave` (a path below the hive, backslash-separated), and with
    /// `sottochiavi` every key below it. False when the store cannot tell of changes.
    /// The key need not exist yet: its creation is a change.
    bool Osserva(Hive hive, const QString& chiave, bool sottochiavi = false);

    /// Stops watching a key given to Osserva.
    void Smetti(Hive hive, const QString& chiave);

signals:
    /// `chiave` is the changed key's path below the hive, as the store spells it.
    void Cambiata(paramcor::Hive hive, const QString& chiave);

private:
    struct CVLPARAMCOR_NO_EXPORT Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace paramcor
