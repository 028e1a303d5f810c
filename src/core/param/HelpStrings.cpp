// The descriptions of the interface's members, as the suite's programs and tools
// show them next to the members' names.
#include <CVLParamcor/Parametri.h>

#include <QHash>

namespace paramcor {

QString helpString(const QString& member) {
    static const QHash<QString, QString> help{
        {"", "CORVEL - CVLparamcor"},
        {"Programma", "Imposta il programma di cui ottenere i parametri."},
        {"CurrentUser", "Imposta i parametri nella sezione CURRENT_USER."},
        {"LocalMachine", "Imposta i parametri nella sezione LOCAL_MACHINE"},
        {"Sezione", "Imposta eventualmente la sezione dei parametri all'interno del programma."},
        {"ModoDebug", "Abilita la modalità debug, in cui non crea chiavi o variabili inesistenti."},
        {"Push", "Mette la chiave corrente nello stack senza chiuderla."},
        {"Pop", "Chiude la chiave corrente e restitituisce la chiave precedente al Push."},
        // clang-format off
        {"LeggiParametroStringa", "Restituisce il valore della proprietà indicata. Il secondo parametro è l'eventuale valore di default per la prima registrazione."},
        // clang-format on
        {"ScriviParametroStringa", "Scrive il valore stringa nella variabile specificata."},
        {"LeggiParametro", "Legge un parametro di tipo generico."},
        {"ScriviParametro", "Scrive un parametro generico."},
        {"RegistraDocumento", "Registra un documento, associando l'applicativo di default e l'icona."},
        {"PercorsoTemp", "Restituisce il percorso completo dei file temporanei."},
        {"FileTemporaneo", "Restituisce il nome unico per un file temporaneo."},
        {"Lingua", "Imposta il numero della lingua."},
        {"CambiaLingua", "Visualizza il form per cambiare la lingua corrente e restituisce TRUE se viene cambiata."},
        // clang-format off
        {"Informazioni", "Visualizza le informazioni sul programma, i contatti del fornitore e le informazioni di sistema."},
        // clang-format on
        {"Versioni", "Visualizza le versioni dei prodotti installati e della libreria."},
        {"InformazioniSistema", "Restituisce le informazioni di sistema per l'assistenza."},
        {"DatiFornitore", "Restituisce i contatti del fornitore."},
    };
    return help.value(member);
}

}  // namespace paramcor
