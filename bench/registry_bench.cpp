// Typed parameter reads and writes through Parametri on the SQLite store, against
// QSettings on an INI file of similar size as the reference.
#include "BenchSupport.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QSettings>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

using namespace paramcor;

constexpr int kFillerValues = 500;  // a store of a realistic size around the measured values

// A store in a temporary folder with the benchmark's program already written.
struct Fixture {
    Fixture() {
        Platform p;
        p.registry = std::make_shared<SqliteRegistryStore>((dir.path() + "/registry").toStdString());
        installPlatform(p);
        par = std::make_unique<Parametri>();
        par->CurrentUser();
        for (int i = 0; i < kFillerValues; ++i) {
            par->Programma(QStringLiteral("Program%1").arg(i % 10));
            par->ScriviParametro(QStringLiteral("Value%1").arg(i), Long(i));
            settings.setValue(QStringLiteral("Program%1/Value%2").arg(i % 10).arg(i), i);
        }
        par->Programma("Taglio");
        par->Sezione("Lama");
        par->ScriviParametro("Giri", Long(3000));
        par->ScriviParametroStringa("Ultimo", "C:\\Lavori\\lastra marmo 3000x2000.dxf");
        settings.setValue("Taglio/Lama/Giri", 3000);
        settings.setValue("Taglio/Lama/Ultimo", "C:\\Lavori\\lastra marmo 3000x2000.dxf");
        settings.sync();
    }
    QTemporaryDir dir;
    QSettings settings{dir.path() + "/settings.ini", QSettings::IniFormat};
    std::unique_ptr<Parametri> par;
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

void LeggiParametro_Long(benchmark::State& state) {
    Parametri& par = *fixture().par;
    for (auto _ : state)
        benchmark::DoNotOptimize(par.LeggiParametro("Giri", Long(1)));
}
BENCHMARK(LeggiParametro_Long);

void LeggiParametroStringa(benchmark::State& state) {
    Parametri& par = *fixture().par;
    for (auto _ : state)
        benchmark::DoNotOptimize(par.LeggiParametroStringa("Ultimo"));
}
BENCHMARK(LeggiParametroStringa);

void ScriviParametro_Long(benchmark::State& state) {
    Parametri& par = *fixture().par;
    int i = 0;
    for (auto _ : state)
        par.ScriviParametro("Contatore", Long(++i));
}
BENCHMARK(ScriviParametro_Long);

void QSettings_value_Long(benchmark::State& state) {
    QSettings& settings = fixture().settings;
    for (auto _ : state)
        benchmark::DoNotOptimize(settings.value("Taglio/Lama/Giri", 1).toInt());
}
BENCHMARK(QSettings_value_Long);

void QSettings_value_String(benchmark::State& state) {
    QSettings& settings = fixture().settings;
    for (auto _ : state)
        benchmark::DoNotOptimize(settings.value("Taglio/Lama/Ultimo").toString());
}
BENCHMARK(QSettings_value_String);

void QSettings_setValue_sync(benchmark::State& state) {
    QSettings& settings = fixture().settings;
    int i = 0;
    for (auto _ : state) {
        settings.setValue("Taglio/Lama/Contatore", ++i);
        settings.sync();
    }
}
BENCHMARK(QSettings_setValue_sync);

}  // namespace

int main(int argc, char** argv) {
    return bench::runWithRatios(argc, argv,
                                {{"LeggiParametro_Long", "QSettings_value_Long"},
                                 {"LeggiParametroStringa", "QSettings_value_String"},
                                 {"ScriviParametro_Long", "QSettings_setValue_sync"}});
}
