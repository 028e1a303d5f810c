// A short tour of the library: a program of the suite writes and reads its typed
// parameters. paramcor-demo [STORE_FOLDER] (a temporary folder when omitted).
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

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

int main(int argc, char** argv) {
    QTemporaryDir temporary;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path();

    Platform p;
    auto store = std::make_shared<SqliteRegistryStore>(folder.toStdString());
    p.registry = store;
    installPlatform(p);
    std::printf("Registry store: %s\n\n", store->hiveFile(Hive::CurrentUser).c_str());

    Parametri par;
    par.CurrentUser();
    par.Programma("Taglio");
    par.Sezione("Lama");

    std::printf("First reads store their defaults (current user, SOFTWARE\\Taglio\\Lama):\n");
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
