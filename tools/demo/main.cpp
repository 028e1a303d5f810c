// A short tour of the library on the sample installation: the suite's folders,
// then a program of the suite writing and reading its typed parameters.
// paramcor-demo [STORE_FOLDER] (a temporary folder when omitted).
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

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
// library behaves as if it had been installed there.
QString installSample(const QTemporaryDir& folder) {
    const QString installation = folder.path() + "/CVL";
    QDir().mkpath(installation);
    QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + "/ParamCor.txt", installation + "/ParamCor.txt");
    return installation;
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
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path() + "/registry";

    Platform p;
    auto store = std::make_shared<SqliteRegistryStore>(folder.toStdString());
    p.registry = store;
    p.libraryFolder = installSample(temporary);
    installPlatform(p);
    std::printf("Installation:   %s\n", qUtf8Printable(p.libraryFolder + "/ParamCor.txt"));
    std::printf("Registry store: %s\n\n", store->hiveFile(Hive::CurrentUser).c_str());

    Parametri par;
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
