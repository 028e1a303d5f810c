// CORVEL - CVLparamcor
//
// The settings service of the suite. Every program creates one Parametri object,
// says which program it is, and reads and writes its typed parameters through it:
//
//     paramcor::Parametri par;
//     par.CurrentUser();
//     par.Programma("Taglio");
//     par.Sezione("Lama");
//     int speed = par.LeggiParametro("Velocita", paramcor::Long(1200)).toInt();
//     par.ScriviParametroStringa("Ultimo", "lastra.dxf");
//
// The selection of store, program and section is shared by every Parametri object
// of the process, and so is the Push/Pop stack: an object that looks at another
// program's parameters brackets the excursion with Push() ... Pop().
//
// Nothing is thrown across this interface (except Pop() above depth 100, which
// throws std::out_of_range): a failure shows a message box through the installed
// platform and returns an empty, zero or default value.
#pragma once

#include <QString>
#include <QVariant>

#include <memory>

namespace paramcor {

// Variants of exactly one interface type each. Use them for defaults and values:
// QVariant(short(5)) holds an int, so it would silently be stored as a Long.
QVariant Integer(short value);
QVariant Long(int value);
QVariant Single(float value);
QVariant Double(double value);
QVariant String(const QString& value);
QVariant Boolean(bool value);
QVariant Empty();
QVariant Null();

class Parametri {
public:
    Parametri();
    ~Parametri();

    Parametri(const Parametri&) = delete;
    Parametri& operator=(const Parametri&) = delete;

    // --- Program and key selection ---------------------------------------------

    // "Imposta il programma di cui ottenere i parametri."
    // Setting it also clears the section and the no-maker-root flag.
    QString Programma() const;
    void Programma(const QString& value);

    // "Imposta eventualmente la sezione dei parametri all'interno del programma."
    QString Sezione() const;
    void Sezione(const QString& value);

    // "Imposta i parametri nella sezione CURRENT_USER."
    // With NoCorvel true the key path leaves out "SOFTWARE" and the maker's root.
    void CurrentUser(const QVariant& NoCorvel = {});

    // "Imposta i parametri nella sezione LOCAL_MACHINE"
    void LocalMachine(const QVariant& NoCorvel = {});

    // "Abilita la modalità debug, in cui non crea chiavi o variabili inesistenti."
    // In debug mode a missing value is reported instead of being created (the key
    // itself is still created).
    bool ModoDebug() const;
    void ModoDebug(bool value);

    // "Mette la chiave corrente nello stack senza chiuderla."
    // Saves store, program and section; at depth 100 it reports the overflow.
    void Push();

    // "Chiude la chiave corrente e restitituisce la chiave precedente al Push."
    // Restores store, program and section; the no-maker-root flag and the debug
    // mode are not restored. Does nothing when nothing was pushed.
    void Pop();

    // --- Typed values ------------------------------------------------------------

    // "Legge un parametro di tipo generico."
    // The type of Default chooses the encoding: Integer, Long, Single, Double,
    // String or Boolean (use the helpers above). A missing value is stored with the
    // default and the default returned, unless the default equals Empty (0, false,
    // ""), which is returned without being stored. A Double is read back as a
    // Single made from its low four bytes, as the suite has always done.
    QVariant LeggiParametro(const QString& Chiave, const QVariant& Default);

    // "Scrive un parametro generico."
    // Always returns Empty.
    QVariant ScriviParametro(const QString& Variabile, const QVariant& Valore);

    // "Restituisce il valore della proprietà indicata. Il secondo parametro è
    // l'eventuale valore di default per la prima registrazione."
    QString LeggiParametroStringa(const QString& Chiave, const QVariant& Default = {});

    // "Scrive il valore stringa nella variabile specificata."
    // At most 255 characters.
    void ScriviParametroStringa(const QString& Variabile, const QString& Valore);

private:
    // Creation and destruction steps of the subsystems.
    void clearPendingErrors();
    bool queryTempFolder();
    bool readInstallationFile();
    bool openTextDatabase();
    void closeTextDatabase();
    void recordUpgradeVersion();
    void checkRegionalSettings();

    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace paramcor
