// The sample texts carry every wording the windows translate, in English,
// German, French and Spanish.
#include "support/TestPlatform.h"
#include "texts/SqlDatabase.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

// What the windows pass to Traduci.
const char* const kWindowWordings[] = {
    // the language window
    "Cambio Lingua",
    "conferma",
    "esc",
    "Conferma",
    "Annulla",
    "Unità di misura",
    "Italiano",
    "English",
    "Deutsch",
    "Français",
    "Español",
    "Português",
    "Nederlands",
    "Polski",
    "Čeština",
    "Svenska",
    "Română",
    "Русский",
    // the units window
    "Sistema Metrico Decimale",
    "Sistema Anglosassone",
    "Default",
    "Valuta",
    "lineare",
    "superfici",
    "volume",
    "per calcolo peso",
    "Fattore di Conversione",
    "Simbolo",
    "Esempio",
    "Esci",
    "Digitazione misure",
    "millimetri",
    "pollici",
    "piedi",
    "Peso Specifico",
    "peso",
    "kg",
    "Ripristino dati originali",
    "Inserire",
    "Applico valori impostati a tutte le lingue",
    // the currency window
    "Descrizione",
    "Attenzione. Inserire tutti i dati",
    // the about and versions windows, and the system information
    "Informazioni su", "Versione", "Versione del prodotto", "Fornitore", "Nome", "Telefono", "Indirizzo",
    "Sito web", "Assistenza", "Informazioni di sistema", "Copia", "Copia le informazioni negli appunti", "Invia",
    "Invia le informazioni all'assistenza", "Informazioni inviate a", "Versioni", "Versioni del prodotto",
    "Prodotto", "Aggiornamento", "Marmo", "Vetro", "Vetro CAM", "Compilatore", "Data di compilazione",
    "Compilata con Qt", "Testi", "Versione del formato", "Programma", "Sistema", "Sistema operativo", "Computer",
    "Registro", "Chiave del produttore", "Utente corrente", "Macchina locale", "Classi", "registro di Windows",
    "Installazione", "Cartella di installazione", "File di installazione", "mancante", "Database dei testi",
    "Righe", "Lingua e unità di misura", "Lingua", "Cartelle", "Cartella temporanea",
    "Spazio su disco (libero / totale)",
};

TEST(SampleTexts, TranslateEveryWordingOfTheWindowsIntoFourLanguages) {
    test::TestPlatform platform;
    platform.writeInstallationFile("REGISTRYROOT = Corvel\r\nFOLDERS = 1\r\nFOLDER1 = Testi, <PROGRAM>Testi\r\n");
    ASSERT_TRUE(QDir().mkpath(platform.folder() + "/Testi"));
    const QString texts = platform.folder() + "/Testi/CvlTradU.mdb";
    ASSERT_TRUE(QFile::copy(CVLPARAMCOR_SAMPLES "/Testi/CvlTrad.mdb", texts));

    SqlDatabase db(texts, SqlDatabase::Mode::ReadOnly);
    // The wording's own row, and the row a lookup finds: the index ignores case, so
    // "conferma" is found as the "Conferma" that comes first.
    SqlStatement own =
        db.prepare("SELECT Testo_02, Testo_03, Testo_04, Testo_05 FROM Testi WHERE TESTO_01 = ?1 COLLATE BINARY");
    SqlStatement found = db.prepare(
        "SELECT Testo_02, Testo_03, Testo_04, Testo_05 FROM Testi WHERE TESTO_01 = ?1 ORDER BY rowid LIMIT 1");
    auto translations = [](SqlStatement& select, const QString& italian) {
        QStringList texts;
        if (select.bind(1, italian).step())
            for (int column = 0; column < 4; ++column)
                texts << select.text(column);
        select.reset();
        return texts;
    };
    Parametri par;
    for (const char* wording : kWindowWordings) {
        SCOPED_TRACE(wording);
        const QString italian = QString::fromUtf8(wording);
        const QStringList ownTexts = translations(own, italian);
        ASSERT_EQ(ownTexts.size(), 4);
        for (const QString& text : ownTexts)
            EXPECT_FALSE(text.trimmed().isEmpty());
        // What the windows show; a wording that starts with "Attenzione" is looked up in two parts.
        if (italian.startsWith("Attenzione"))
            continue;
        const QStringList shown = translations(found, italian);
        for (short language = 2; language <= 5; ++language) {
            par.Lingua(language);
            EXPECT_EQ(par.Traduci(italian), shown[language - 2]) << "language " << language;
        }
    }
}

}  // namespace
}  // namespace paramcor
