// A station of a shop (its machine hive on PostgreSQL, on a cluster of the benchmark's
// own reached by its Unix socket, read from the station's SQLite copy) next to the
// SQLite store: reading and writing one value through the store, with the median and
// the 99th percentile of single calls as counters.
#include "BenchSupport.h"
#include "PostgresCluster.h"

#include "store/PostgresRegistryStore.h"
#include "store/ShopCopy.h"
#include "store/StationRegistryStore.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <benchmark/benchmark.h>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

namespace {

using namespace paramcor;

constexpr char kKey[] = "SOFTWARE\\Corvel\\Taglio\\Lama";

struct Stores {
    Stores() {
        if (!cluster.running() || !PostgresRegistryStore::prepareDatabase(cluster.conninfo()).empty()) {
            std::fprintf(stderr, "no PostgreSQL cluster: %s\n", cluster.why().c_str());
            return;
        }
        shop = station("station");
        sqlite = std::make_unique<SqliteRegistryStore>((folder / "registry").string());
        // Another station, and another program of this one, that hear of the changes.
        shopListener = station("other");
        sqliteListener = std::make_unique<SqliteRegistryStore>((folder / "registry").string());
    }
    std::unique_ptr<RegistryStore> station(const std::string& name) const {
        return std::make_unique<StationRegistryStore>(
            std::make_shared<SqliteRegistryStore>((folder / name).string()),
            std::make_shared<PostgresRegistryStore>(cluster.conninfo()),
            std::make_shared<store::ShopCopy>(cluster.conninfo(), (folder / name / "copy").string()));
    }
    ~Stores() {
        shop.reset();
        sqlite.reset();
        shopListener.reset();
        sqliteListener.reset();
        std::filesystem::remove_all(folder);
    }
    test::PostgresCluster cluster;
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("cvlparamcor-shop-bench-" + std::to_string(::getpid()));
    std::unique_ptr<RegistryStore> shop;
    std::unique_ptr<RegistryStore> sqlite;
    std::unique_ptr<RegistryStore> shopListener;
    std::unique_ptr<RegistryStore> sqliteListener;
};

Stores& stores() {
    static Stores s;
    return s;
}

// Times each call, and reports the median and the 99th percentile in microseconds.
template <class Call>
void timed(benchmark::State& state, Call&& call) {
    std::vector<double> micros;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        call();
        micros.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(micros.begin(), micros.end());
    if (micros.empty())
        return;
    state.counters["p50_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
}

RegistryStore* storeOf(const benchmark::State& state) {
    return state.range(0) == 0 ? stores().sqlite.get() : stores().shop.get();
}

void Read(benchmark::State& state) {
    RegistryStore* store = storeOf(state);
    if (!store)
        return state.SkipWithError("no PostgreSQL cluster");
    StoreKey key(*store);
    key.create(Hive::LocalMachine, kKey);
    store->setValue(key.handle(), "Giri", regtype::Dword, {0xB8, 0x0B, 0, 0});
    std::vector<std::uint8_t> data;
    timed(state,
          [&] { benchmark::DoNotOptimize(store->queryValue(key.handle(), "Giri", nullptr, &data, 4, nullptr)); });
}
BENCHMARK(Read)->ArgName("shop")->Arg(0)->Arg(1);

void Write(benchmark::State& state) {
    RegistryStore* store = storeOf(state);
    if (!store)
        return state.SkipWithError("no PostgreSQL cluster");
    StoreKey key(*store);
    key.create(Hive::LocalMachine, kKey);
    std::uint8_t n = 0;
    timed(state, [&] {
        benchmark::DoNotOptimize(store->setValue(key.handle(), "Ultimo", regtype::Dword, {++n, 0, 0, 0}));
    });
}
BENCHMARK(Write)->ArgName("shop")->Arg(0)->Arg(1);

// From a write at one store to the time of another's change file being set (at a
// station, once its copy holds the change), as a program that waits on the file
// hears it (inotify).
void Push(benchmark::State& state) {
    RegistryStore* store = storeOf(state);
    RegistryStore* listener = state.range(0) == 0 ? stores().sqliteListener.get() : stores().shopListener.get();
    if (!store || !listener)
        return state.SkipWithError("no PostgreSQL cluster");
    StoreKey key(*store);
    key.create(Hive::LocalMachine, kKey);
    store->setValue(key.handle(), "Pushed", regtype::Dword, {0, 0, 0, 0});
    const std::string file = listener->changeFile(Hive::LocalMachine);
    for (int i = 0; i < 500 && !std::filesystem::exists(file); ++i)
        ::usleep(10000);
    const int watch = ::inotify_init1(IN_CLOEXEC);
    if (watch < 0 || ::inotify_add_watch(watch, file.c_str(), IN_ATTRIB | IN_MODIFY) < 0)
        return state.SkipWithError("cannot watch the change file");
    char events[4096];
    std::uint8_t n = 0;
    timed(state, [&] {
        pollfd fd{watch, POLLIN, 0};
        while (::poll(&fd, 1, 0) == 1)  // what the last write still told
            benchmark::DoNotOptimize(::read(watch, events, sizeof events));
        store->setValue(key.handle(), "Pushed", regtype::Dword, {++n, 0, 0, 0});
        if (::poll(&fd, 1, 5000) == 1)
            benchmark::DoNotOptimize(::read(watch, events, sizeof events));
    });
    ::close(watch);
}
BENCHMARK(Push)->ArgName("shop")->Arg(0)->Arg(1)->Iterations(1000);

}  // namespace

int main(int argc, char** argv) {
    return bench::runWithRatios(argc, argv, {{"Read/shop:1", "Read/shop:0"}, {"Write/shop:1", "Write/shop:0"}});
}
