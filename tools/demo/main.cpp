// A short tour of the library on the sample installation: the delivery of its
// texts, the suite's folders, then a program of the suite writing and reading its
// typed parameters.
//
//     paramcor-demo [FOLDER]
//
// FOLDER receives the installation and the registry store (a temporary folder
// when omitted); run twice on the same folder, the second run finds the texts
// already delivered and the values already stored.
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

using namespace paramcor;

namespace {

// The interface's name of a value's type.
const char* typeName(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::Short:
            return "Integer";
        case QMetaType::Int:
            return "Long";
        case QMetaType::Float:
            return "Single";
        case QMetaType::Double:
            return "Double";
        case QMetaType::QString:
            return "String";
        case QMetaType::Bool:
            return "Boolean";
        default:
            return value.isValid() ? "other" : "Empty";
    }
}

void show(const char* what, const QVariant& value) {
    std::printf("  %-38s %-8s %s\n", what, typeName(value), qUtf8Printable(value.toString()));
}

}  // namespace

// The installation: a copy of the sample's files in a folder of its own, where the
// library behaves as if it had been installed there, with its texts delivered.
QString installSample(const QString& folder) {
    const QString installation = folder + "/CVL";
    if (QFile::exists(installation + "/ParamCor.txt"))
        return installation;
    QDir().mkpath(installation + "/Testi");
    QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + "/ParamCor.txt", installation + "/ParamCor.txt");
    QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + "/Testi/CvlTrad.mdb", installation + "/Testi/CvlTrad.mdb");
    return installation;
}

// The number of texts in a text database, or -1 when there is no such file.
int countTexts(const QString& path) {
    if (!QFile::exists(path))
        return -1;
    sqlite3* db = nullptr;
    int count = -1;
    if (sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK)
        sqlite3_exec(
            db, "SELECT count(*) FROM Testi",
            [](void* out, int, char** values, char**) {
                *static_cast<int*>(out) = std::atoi(values[0]);
                return 0;
            },
            &count, nullptr);
    sqlite3_close(db);
    return count;
}

void showTranslations(Parametri& par) {
    const QString wordings[] = {"Unità di misura", "Spessore lastra:", "(Nesting automatico)",
                                "ATTENZIONE: lastra troppo corta", "Parola sconosciuta"};
    const short saved = par.Lingua();
    for (const short language : {2, 3, 4}) {
        par.Lingua(language);
        std::printf("\nTranslations, language %d:\n", language);
        for (const QString& wording : wordings)
            std::printf("  %s -> %s\n", qUtf8Printable(wording.leftJustified(34)), qUtf8Printable(par.Traduci(wording)));
        std::printf("  %-34s -> %s\n", "TraduciChiave(\"TAGLIO\", \"0004\")",
                    qUtf8Printable(par.TraduciChiave("TAGLIO", "0004")));
    }
    par.Lingua(saved);
    std::printf("\n");
}

void showFolders(Parametri& par) {
    std::printf("Folders of the installation (name, default as declared, current location):\n");
    for (short i = 0; i <= par.TotalePercorsi(); ++i) {
        QString name, declared, current, reference;
        par.DatiPercorso(i, name, declared, current, reference);
        if (declared.isEmpty() && i > 0)
            continue;  // custom slots nobody has set
        std::printf("  %-17s %-28s %s\n", qUtf8Printable(name), qUtf8Printable(declared), qUtf8Printable(current));
    }
}

int main(int argc, char** argv) {
    QTemporaryDir temporary;
    const QString folder = argc > 1 ? QDir(QString::fromLocal8Bit(argv[1])).absolutePath() : temporary.path();

    Platform p;
    auto store = std::make_shared<SqliteRegistryStore>((folder + "/registry").toStdString());
    p.registry = store;
    p.libraryFolder = installSample(folder);
    installPlatform(p);
    std::printf("Installation:   %s\n", qUtf8Printable(p.libraryFolder + "/ParamCor.txt"));
    std::printf("Registry store: %s\n\n", store->hiveFile(Hive::CurrentUser).c_str());

    const QString delivered = p.libraryFolder + "/Testi/CvlTrad.mdb";
    const QString user = p.libraryFolder + "/Testi/CvlTradU.mdb";
    const int deliveredTexts = countTexts(delivered);
    const int userTextsBefore = countTexts(user);
    Parametri par;
    if (deliveredTexts < 0) {
        std::printf("Texts: nothing delivered; the user file opens as it is (%d texts).\n", countTexts(user));
    } else {
        std::printf("Texts: delivered CvlTrad.mdb with %d texts, consumed at creation (now %s).\n", deliveredTexts,
                    QFile::exists(delivered) ? "still there" : "CvlTrad.mdb.old");
        std::printf("       user file CvlTradU.mdb: %s, %d texts with the five unit rows.\n",
                    userTextsBefore < 0 ? "copied from the delivery" : "merged", countTexts(user));
    }
    showTranslations(par);
    std::printf("Registry root:  %s\n", qUtf8Printable(par.RadReg()));
    std::printf("Upgrade record: %s\n\n", qUtf8Printable(par.VersioneUpgrade()));
    showFolders(par);
    std::printf("\n  Percorso(\"dxf\")         %s\n", qUtf8Printable(par.Percorso("dxf")));
    std::printf("  Percorso(\"PercorsoDxf\") %s\n", qUtf8Printable(par.Percorso("PercorsoDxf")));
    par.ScriviPercorso("DXF", "/srv/lavori\\dxf");
    std::printf("  after ScriviPercorso(\"DXF\", \"/srv/lavori\\\\dxf\"): %s\n\n", qUtf8Printable(par.PercorsoDxf()));

    par.CurrentUser();
    par.Programma("Taglio");
    par.Sezione("Lama");
    std::printf("First reads store their defaults (current user, %s\\Taglio\\Lama):\n", qUtf8Printable(par.RadReg()));
    show("LeggiParametro Giri, Long 3000", par.LeggiParametro("Giri", Long(3000)));
    show("LeggiParametro Spessore, Single 2.5", par.LeggiParametro("Spessore", Single(2.5f)));
    show("LeggiParametro Passate, Integer 3", par.LeggiParametro("Passate", Integer(3)));
    show("LeggiParametro Raffreddamento, True", par.LeggiParametro("Raffreddamento", Boolean(true)));
    show("LeggiParametroStringa Materiale", par.LeggiParametroStringa("Materiale", String("Granito")));

    std::printf("\nWritten values are read back from the store:\n");
    par.ScriviParametro("Giri", Long(2800));
    par.ScriviParametroStringa("Materiale", QString::fromUtf8("Marmo di Carrara, spessore 30 mm"));
    show("LeggiParametro Giri", par.LeggiParametro("Giri", Long(3000)));
    show("LeggiParametroStringa Materiale", par.LeggiParametroStringa("Materiale"));
    par.ScriviParametro("Larghezza", Double(3000.5));
    show("LeggiParametro Larghezza (Double)", par.LeggiParametro("Larghezza", Double(1.0)));
    std::printf("  (a Double is read back as a Single made from its low four bytes)\n");

    std::printf("\nPush, look at another program, Pop:\n");
    par.Push();
    par.LocalMachine();
    par.Programma("Magazzino");
    std::printf("  now at program %s\n", qUtf8Printable(par.Programma()));
    par.Pop();
    std::printf("  back at program %s, section %s\n", qUtf8Printable(par.Programma()), qUtf8Printable(par.Sezione()));
    return 0;
}
