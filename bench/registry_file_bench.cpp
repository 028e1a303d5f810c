// The registry editor's files through paramcor, run as its users run it: the export
// of a key with N subkeys to a .reg file, and the import of that file into an empty
// store. Each step of the store's listing is a seek, so both grow with N, not N².
// The ratio of 100,000 keys to 10,000 is printed after the table: 10 is linear.
#include "BenchSupport.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

namespace {

using namespace paramcor;

constexpr int kKeysPerGroup = 1000;

bool runTool(const QStringList& arguments) {
    QProcess tool;
    tool.start(QStringLiteral(PARAMCOR_TOOL), arguments);
    if (!tool.waitForFinished(-1) || tool.exitStatus() != QProcess::NormalExit || tool.exitCode() != 0) {
        std::fprintf(stderr, "paramcor %s failed: %s\n", qUtf8Printable(arguments.join(u' ')),
                     tool.readAllStandardError().constData());
        return false;
    }
    return true;
}

std::vector<std::uint8_t> dword(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

// A store with `keys` keys below HKCU\SOFTWARE\Bench, in groups of a thousand, each
// key with a number and a string, as a suite's settings are; made once per size.
struct Filled {
    QTemporaryDir dir;
    QString store() const { return dir.path() + QStringLiteral("/store"); }
    QString file() const { return dir.path() + QStringLiteral("/export.reg"); }
};

const Filled& filled(int keys) {
    static std::map<int, std::unique_ptr<Filled>> made;
    std::unique_ptr<Filled>& f = made[keys];
    if (f)
        return *f;
    f = std::make_unique<Filled>();
    SqliteRegistryStore store(f->store().toStdString());
    store.beginBatch(Hive::CurrentUser);
    for (int i = 0; i < keys; ++i) {
        const std::string path = "SOFTWARE\\Bench\\Group" + std::to_string(i / kKeysPerGroup) + "\\Key" +
                                 std::to_string(i % kKeysPerGroup);
        KeyHandle key = 0;
        store.createKey(Hive::CurrentUser, path, &key);
        store.setValue(key, "Giri", regtype::Dword, dword(static_cast<std::uint32_t>(i)));
        const std::string text = "C:\\Lavori\\lastra " + std::to_string(i) + ".dxf";
        store.setValue(key, "Ultimo", regtype::String, std::vector<std::uint8_t>(text.begin(), text.end()));
        store.closeKey(key);
    }
    store.commitBatch(Hive::CurrentUser);
    return *f;
}

void Export(benchmark::State& state) {
    const Filled& f = filled(static_cast<int>(state.range(0)));
    for (auto _ : state)
        if (!runTool({"--registro", f.store(), "registro", "esporta", "HKCU\\SOFTWARE\\Bench", f.file()}))
            state.SkipWithError("the export failed");
    state.counters["keys"] = static_cast<double>(state.range(0));
}
BENCHMARK(Export)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

void Import(benchmark::State& state) {
    const Filled& f = filled(static_cast<int>(state.range(0)));
    if (!QFileInfo::exists(f.file()) &&
        !runTool({"--registro", f.store(), "registro", "esporta", "HKCU\\SOFTWARE\\Bench", f.file()}))
        state.SkipWithError("the export failed");
    for (auto _ : state) {
        state.PauseTiming();
        auto empty = std::make_unique<QTemporaryDir>();
        state.ResumeTiming();
        if (!runTool({"--registro", empty->path(), "registro", "importa", f.file()}))
            state.SkipWithError("the import failed");
        state.PauseTiming();  // the removal of the store is not the import's
        empty.reset();
        state.ResumeTiming();
    }
    state.counters["keys"] = static_cast<double>(state.range(0));
}
BENCHMARK(Import)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    return bench::runWithRatios(argc, argv, {{"Export/100000", "Export/10000"}, {"Import/100000", "Import/10000"}});
}
