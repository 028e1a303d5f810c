// Creating a Parametri object on the sample installation, and resolving a folder.
#include "BenchSupport.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

using namespace paramcor;

// The sample installation in a folder of its own, with a store beside it. The
// first creation consumes the delivered texts and stores the folders' defaults, as
// on a new workstation; the benchmarks measure what every later program start
// costs: installation file, folders, opening the text database.
struct Installation {
    Installation() {
        const QString folder = dir.path() + "/CVL";
        QDir().mkpath(folder + "/Testi");
        QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + "/ParamCor.txt", folder + "/ParamCor.txt");
        QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + "/Testi/CvlTrad.mdb", folder + "/Testi/CvlTrad.mdb");
        Platform p;
        p.registry = std::make_shared<SqliteRegistryStore>((dir.path() + "/registry").toStdString());
        p.libraryFolder = folder;
        installPlatform(p);
        Parametri first;
        for (short i = 0; i <= first.TotalePercorsi(); ++i) {
            QString name, declared, current, reference;
            first.DatiPercorso(i, name, declared, current, reference);
        }
    }
    QTemporaryDir dir;
};

Installation& installation() {
    static Installation i;
    return i;
}

void CreaParametri(benchmark::State& state) {
    installation();
    for (auto _ : state) {
        Parametri par;
        benchmark::DoNotOptimize(par.TotalePercorsi());
    }
}
BENCHMARK(CreaParametri)->Unit(benchmark::kMicrosecond);

void Percorso_DXF(benchmark::State& state) {
    installation();
    Parametri par;
    for (auto _ : state)
        benchmark::DoNotOptimize(par.Percorso("DXF"));
}
BENCHMARK(Percorso_DXF);

void LeggiParametroStringa_reference(benchmark::State& state) {
    installation();
    Parametri par;
    par.Programma("Taglio");
    par.ScriviParametroStringa("Ultimo", "C:\\Lavori\\lastra.dxf");
    for (auto _ : state)
        benchmark::DoNotOptimize(par.LeggiParametroStringa("Ultimo"));
}
BENCHMARK(LeggiParametroStringa_reference);

}  // namespace

int main(int argc, char** argv) {
    return bench::runWithRatios(argc, argv, {{"Percorso_DXF", "LeggiParametroStringa_reference"}});
}
