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
// Nothing is thrown across this interface, except where the suite has always let
// an error reach the caller: Pop() above depth 100 (std::out_of_range),
// ControllaValori and the windows' work on the text database (TextDatabaseError).
// Any other failure shows a message box through the installed platform and returns
// an empty, zero or default value.
#pragma once

#include <CVLParamcor/Export.h>

#include <CVLParamcor/TextDatabaseError.h>

#include <QString>
#include <QVariant>

#include <memory>
#include <stdexcept>

namespace paramcor {

class Folders;

/// Variants of exactly one interface type each. Use them for defaults and values:
/// QVariant(short(5)) holds an int, so it would silently be stored as a Long.
CVLPARAMCOR_EXPORT QVariant Integer(short value);
CVLPARAMCOR_EXPORT QVariant Long(int value);
CVLPARAMCOR_EXPORT QVariant Single(float value);
CVLPARAMCOR_EXPORT QVariant Double(double value);
CVLPARAMCOR_EXPORT QVariant String(const QString& value);
CVLPARAMCOR_EXPORT QVariant Boolean(bool value);
CVLPARAMCOR_EXPORT QVariant Empty();
CVLPARAMCOR_EXPORT QVariant Null();

/// The description of a member of Parametri ("Programma", "Push" ...), as tools
/// show it; the library's own with an empty name; empty for members without one.
CVLPARAMCOR_EXPORT QString helpString(const QString& member);

/// The settings service of a program: the selection of store, program and section,
/// typed values, folders, texts and language, units and information (see the
/// example at the top of this header).
class CVLPARAMCOR_EXPORT Parametri {
public:
    Parametri();
    ~Parametri();

    Parametri(const Parametri&) = delete;
    Parametri& operator=(const Parametri&) = delete;

    /// --- Program and key selection ---------------------------------------------

    ///@{
    /// "Imposta il programma di cui ottenere i parametri."
    /// Setting it also clears the section and the no-maker-root flag.
    QString Programma() const;
    void Programma(const QString& value);
    ///@}

    ///@{
    /// "Imposta eventualmente la sezione dei parametri all'interno del programma."
    QString Sezione() const;
    void Sezione(const QString& value);
    ///@}

    /// "Imposta i parametri nella sezione CURRENT_USER."
    /// With NoCorvel true the key path leaves out "SOFTWARE" and the maker's root.
    void CurrentUser(const QVariant& NoCorvel = {});

    /// "Imposta i parametri nella sezione LOCAL_MACHINE"
    void LocalMachine(const QVariant& NoCorvel = {});

    ///@{
    /// "Abilita la modalità debug, in cui non crea chiavi o variabili inesistenti."
    /// In debug mode a missing value is reported instead of being created (the key
    /// itself is still created).
    bool ModoDebug() const;
    void ModoDebug(bool value);
    ///@}

    /// "Mette la chiave corrente nello stack senza chiuderla."
    /// Saves store, program and section; at depth 100 it reports the overflow.
    void Push();

    /// "Chiude la chiave corrente e restitituisce la chiave precedente al Push."
    /// Restores store, program and section; the no-maker-root flag and the debug
    /// mode are not restored. Does nothing when nothing was pushed.
    void Pop();

    /// --- Typed values ------------------------------------------------------------

    /// "Legge un parametro di tipo generico."
    /// The type of Default chooses the encoding: Integer, Long, Single, Double,
    /// String or Boolean (use the helpers above). A missing value is stored with the
    /// default and the default returned, unless the default equals Empty (0, false,
    /// ""), which is returned without being stored. A Double is read back as a
    /// Single made from its low four bytes, as the suite has always done.
    QVariant LeggiParametro(const QString& Chiave, const QVariant& Default);

    /// "Scrive un parametro generico."
    /// Always returns Empty.
    QVariant ScriviParametro(const QString& Variabile, const QVariant& Valore);

    /// "Restituisce il valore della proprietà indicata. Il secondo parametro è
    /// l'eventuale valore di default per la prima registrazione."
    QString LeggiParametroStringa(const QString& Chiave, const QVariant& Default = {});

    /// "Scrive il valore stringa nella variabile specificata."
    /// At most 255 characters.
    void ScriviParametroStringa(const QString& Variabile, const QString& Valore);

    /// --- Workstation ---------------------------------------------------------------

    /// "Registra un documento, associando l'applicativo di default e l'icona."
    /// Writes below the classes root: Estensione -> Gruppo, Gruppo\\CLID,
    /// Gruppo\\shell\\open\\command (when IdIcona >= 0) and Gruppo\\DefaultIcon.
    /// Afterwards the key path leaves out the maker's root until the next
    /// CurrentUser, LocalMachine or Programma.
    void RegistraDocumento(const QString& Estensione, const QString& Gruppo, const QString& Shell, short IdIcona);

    /// "Restituisce il percorso completo dei file temporanei."
    /// Ends with a separator.
    QString PercorsoTemp() const;

    /// "Restituisce il nome unico per un file temporaneo."
    /// The file is created, empty; its name starts with the first three characters
    /// of Prefisso. Empty when no file can be created.
    QString FileTemporaneo(const QString& Prefisso);

    /// Clears pending floating-point exceptions.
    void SvuotaErrori();

    /// "SOFTWARE" followed by the registry root of the installation file.
    QString RadReg() const;

    ///@{
    /// Version records of the installed suite, in the local-machine store.
    QString VersioneProdotto();
    void VersioneProdotto(const QString& value);
    QString VersioneUpgrade();
    void VersioneUpgrade(const QString& value);
    QString VersioneProdottoMarmo();
    void VersioneProdottoMarmo(const QString& value);
    QString VersioneProdottoVetro();
    void VersioneProdottoVetro(const QString& value);
    QString VersioneProdottoVetroCam();
    void VersioneProdottoVetroCam(const QString& value);
    ///@}

    /// --- Folders -------------------------------------------------------------------
    ///
    /// Folders are declared in the installation file "ParamCor.txt" beside the
    /// library; their current locations live in the store. Every path handed out
    /// ends with a separator.

    /// The suite's root folder.
    QString PercorsoWincor();
    /// Always false.
    bool GestionePercorsi() const;
    /// The folder that holds the library.
    QString PercorsoPrincipale() const;
    /// Stores a new location for a folder, as given.
    void ScriviPercorso(const QString& NomePercorso, const QString& PercorsoDefault);
    /// The current location of a folder ("DXF", "PercorsoDxf" and " dxf " alike);
    /// an unknown name gives the library's folder.
    QString Percorso(const QString& NomePercorso);
    ///@{
    /// Reports unknown names and missing folders.
    bool DebugPercorsi() const;
    void DebugPercorsi(bool value);
    ///@}
    /// Opens the folder editor on the folders whose name or reference equals Filtro
    /// (without regard to case; all folders when it is omitted or empty). Changes are
    /// written with ScriviPercorso when the user confirms; returns true when at least
    /// one folder was written, false when the editor was left or nothing changed.
    bool CambiaPercorsi(const QVariant& Filtro = {});
    /// The number of rows of the folder table after the suite root.
    short TotalePercorsi() const;
    /// Row Indice of the folder table (0 to TotalePercorsi): name, default, current
    /// location and reference. False, outputs untouched, outside that range.
    bool DatiPercorso(short Indice, QString& Nome, QString& Default, QString& DefaultV, QString& Rif);

    ///@{
    /// Fixed folders. The setters drop what they are given: ScriviPercorso is the one
    /// way to move a folder. PercorsoDFFLocale and PercorsoISOSlabvista always return
    /// Empty, as they always have, after resolving their folder.
    QVariant PercorsoCLF();
    void PercorsoCLF(const QVariant& value);
    QString PercorsoCommesse();
    void PercorsoCommesse(const QString& value);
    QVariant PercorsoSlabvista();
    void PercorsoSlabvista(const QVariant& value);
    QString PercorsoDBOrdina();
    void PercorsoDBOrdina(const QString& value);
    QVariant PercorsoDBGruppo();
    void PercorsoDBGruppo(const QVariant& value);
    QVariant PercorsoDBLocale();
    void PercorsoDBLocale(const QVariant& value);
    QString PercorsoDef();
    void PercorsoDef(const QString& value);
    QString PercorsoDff();
    void PercorsoDff(const QString& value);
    QVariant PercorsoDFFGruppo();
    void PercorsoDFFGruppo(const QVariant& value);
    QVariant PercorsoDFFLocale();
    void PercorsoDFFLocale(const QVariant& value);
    QString PercorsoDwg();
    void PercorsoDwg(const QString& value);
    QString PercorsoDxf();
    void PercorsoDxf(const QString& value);
    QString PercorsoEps();
    void PercorsoEps(const QString& value);
    QString PercorsoESSI();
    void PercorsoESSI(const QString& value);
    QString PercorsoIges();
    void PercorsoIges(const QString& value);
    QString PercorsoISO();
    void PercorsoISO(const QString& value);
    QVariant PercorsoISOSlabvista();
    void PercorsoISOSlabvista(const QVariant& value);
    QString PercorsoLastre();
    void PercorsoLastre(const QString& value);
    QString PercorsoMR();
    void PercorsoMR(const QString& value);
    QString PercorsoPlt();
    void PercorsoPlt(const QString& value);
    QVariant PercorsoPostProc();
    void PercorsoPostProc(const QVariant& value);
    QString PercorsoProgettiMillora();
    void PercorsoProgettiMillora(const QString& value);
    QString PercorsoProgettiProfilex();
    void PercorsoProgettiProfilex(const QString& value);
    QString PercorsoCor();
    void PercorsoCor(const QString& value);
    ///@}

    /// --- Texts and language -----------------------------------------------------------
    ///
    /// The suite's texts are rows of the text database with one column per language;
    /// programs pass the Italian wording, or the text's key, and show what comes back.
    /// A lookup never fails: an unknown wording comes back as it was given.

    /// The text with key (Programma, Progressivo) in the current language, without
    /// the characters of Caratteri (a string). An unknown key gives "???" ("" keys
    /// and the key itself in debug mode); an empty text "" ("!!!" in debug mode).
    QString TraduciChiave(const QString& Programma, const QString& Progressivo, const QVariant& Caratteri = {});

    /// The translation of the Italian wording Testo in the current language, without
    /// the characters of Caratteri. Looked up as given, then with the punctuation
    /// around it set aside ("Spessore:" is found as "Spessore").
    QString Traduci(const QString& Testo, const QVariant& Caratteri = {});

    ///@{
    /// Marks unknown ({...}) and untranslated ([...]) wordings and logs them in
    /// "testi.txt" of the temporary folder.
    bool DebugTraduzioni() const;
    void DebugTraduzioni(bool value);
    ///@}

    ///@{
    /// "Imposta il numero della lingua."
    /// 1 Italiano, 2 English, 3 Deutsch, 4 Français, 5 Español, 6 Português, 7 to 12
    /// further languages. Shared by every program of the workstation's user.
    short Lingua();
    void Lingua(short value);
    ///@}

    /// "Visualizza il form per cambiare la lingua corrente e restituisce TRUE se viene
    /// cambiata."
    /// Failures of the units window opened from it reach the caller: TextDatabaseError
    /// for the database, std::invalid_argument, std::domain_error or std::out_of_range
    /// for unit rows that cannot be used.
    bool CambiaLingua();

    /// Opens the window in which the user corrects translations; nothing in Italian.
    void CambiaTesto();

    /// --- Units of measure -------------------------------------------------------------

    /// Adds the five unit settings rows (Programma "PARAM") with their metric defaults
    /// to the text database at DB when it has none. Throws TextDatabaseError when the
    /// database cannot be opened or written.
    void ControllaValori(const QString& DB);

    /// --- Information ---------------------------------------------------------------

    /// "Visualizza le informazioni sul programma, i contatti del fornitore e le
    /// informazioni di sistema."
    /// The about window: the program's name and version as the caller gives them, the
    /// suite's and the library's versions, the supplier's contacts, and the system
    /// information that the user copies or mails to the support address.
    void Informazioni(const QString& NomeProgramma, const QString& VersioneProgramma);

    /// "Visualizza le versioni dei prodotti installati e della libreria."
    /// The five version records, how the library was built and the text database's
    /// format version.
    void Versioni();

    /// "Restituisce le informazioni di sistema per l'assistenza."
    /// What the about window lists for support, as plain text in the current language.
    QString InformazioniSistema();

    /// "Restituisce i contatti del fornitore."
    /// The values Fornitore, TelefonoFornitore, IndirizzoFornitore and SitoFornitore
    /// under the maker's key of the machine store; one that is missing or empty takes
    /// the line of the same name in the installation file, or stays empty.
    void DatiFornitore(QString& Nome, QString& Telefono, QString& Indirizzo, QString& Sito);

private:
    /// Creation and destruction steps of the subsystems.
    CVLPARAMCOR_NO_EXPORT bool queryTempFolder();
    CVLPARAMCOR_NO_EXPORT bool readInstallationFile();
    CVLPARAMCOR_NO_EXPORT bool openTextDatabase();
    CVLPARAMCOR_NO_EXPORT void closeTextDatabase();
    CVLPARAMCOR_NO_EXPORT void recordUpgradeVersion();
    CVLPARAMCOR_NO_EXPORT void checkRegionalSettings();
    /// Tells the windows the language when it is not the one they were last told.
    CVLPARAMCOR_NO_EXPORT void announceLanguage();
    /// The folder editor works on the object's own table.
    friend Folders& foldersOf(Parametri& owner);

    struct CVLPARAMCOR_NO_EXPORT Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace paramcor
