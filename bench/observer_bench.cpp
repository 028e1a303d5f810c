// Changes pushed to other programs: the time from one process's committed write to
// another process's Cambiata signal (median and 99th percentile over 1,000 writes),
// the processor time an idle watcher uses (10 s; 1 s in short runs, with
// --benchmark_min_time under a second), and the processor time a watcher of a whole
// subtree of 1,000 or 100,000 keys spends on each write to one of them.
#include <CVLParamcor/OsservatoreRegistro.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr char kKey[] = "SOFTWARE\\Corvel\\Banco";
double idleSeconds = 10;

std::int64_t nowNs() {
    timespec t{};
    ::clock_gettime(CLOCK_MONOTONIC, &t);
    return std::int64_t(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

bool readAll(int fd, void* data, std::size_t size) {
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
        const ssize_t got = ::read(fd, bytes, size);
        if (got <= 0)
            return false;
        bytes += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

// Another program: watches kKey and, on each Cambiata, writes the time it heard
// it to `out`. Its first message says it is watching.
class Watcher {
public:
    explicit Watcher(const std::string& folder, bool subtree = false) {
        int fds[2];
        if (::pipe(fds) != 0)
            std::abort();
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::close(fds[0]);
            run(folder, subtree, fds[1]);
        }
        ::close(fds[1]);
        in_ = fds[0];
        std::int64_t ready = 0;
        ok_ = readAll(in_, &ready, sizeof ready);
    }
    ~Watcher() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        ::close(in_);
    }
    bool ok() const { return ok_; }
    bool heard(std::int64_t& when) { return readAll(in_, &when, sizeof when); }

    // Processor time (user and system) and voluntary context switches so far.
    double cpuSeconds() const {
        std::ifstream stat("/proc/" + std::to_string(pid_) + "/stat");
        std::string line;
        std::getline(stat, line);
        std::istringstream fields(line.substr(line.rfind(')') + 2));
        std::string field;
        unsigned long long user = 0, system = 0;
        for (int i = 3; i <= 15 && fields >> field; ++i) {
            if (i == 14)
                user = std::stoull(field);
            if (i == 15)
                system = std::stoull(field);
        }
        return double(user + system) / double(::sysconf(_SC_CLK_TCK));
    }
    long wakeUps() const {
        std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
        std::string line;
        long count = 0;
        while (std::getline(status, line))
            if (line.rfind("voluntary_ctxt_switches:", 0) == 0 || line.rfind("nonvoluntary_ctxt_switches:", 0) == 0)
                count += std::stol(line.substr(line.find(':') + 1));
        return count;
    }

private:
    [[noreturn]] static void run(const std::string& folder, bool subtree, int out) {
        int argc = 1;
        char name[] = "watcher";
        char* argv[] = {name, nullptr};
        QCoreApplication application(argc, argv);
        paramcor::OsservatoreRegistro observer(std::make_shared<paramcor::SqliteRegistryStore>(folder));
        QObject::connect(&observer, &paramcor::OsservatoreRegistro::Cambiata, [out] {
            const std::int64_t when = nowNs();
            if (::write(out, &when, sizeof when) != sizeof when)
                ::_exit(1);
        });
        observer.Osserva(paramcor::Hive::CurrentUser, QString::fromLatin1(kKey), subtree);
        const std::int64_t ready = 0;
        if (::write(out, &ready, sizeof ready) != sizeof ready)
            ::_exit(1);
        ::_exit(application.exec());
    }

    pid_t pid_ = -1;
    int in_ = -1;
    bool ok_ = false;
};

void setValue(paramcor::RegistryStore& store, std::uint32_t value) {
    paramcor::KeyHandle key = 0;
    store.createKey(paramcor::Hive::CurrentUser, kKey, &key);
    store.setValue(key, "Valore", paramcor::regtype::Dword,
                   {std::uint8_t(value), std::uint8_t(value >> 8), std::uint8_t(value >> 16), std::uint8_t(value >> 24)});
    store.closeKey(key);
}

void BM_CommitToNotification(benchmark::State& state) {
    QTemporaryDir dir;
    const std::string folder = dir.path().toStdString();
    paramcor::SqliteRegistryStore store(folder);
    setValue(store, 0);  // the hive and its change file exist before the watch
    Watcher watcher(folder);
    if (!watcher.ok()) {
        state.SkipWithError("the watcher did not start");
        return;
    }
    std::vector<double> latencies;
    std::uint32_t value = 1;
    for (auto _ : state) {
        setValue(store, value++);
        const std::int64_t committed = nowNs();
        std::int64_t heard = 0;
        if (!watcher.heard(heard)) {
            state.SkipWithError("the watcher stopped");
            return;
        }
        const double seconds = double(heard - committed) / 1e9;
        latencies.push_back(seconds);
        state.SetIterationTime(std::max(seconds, 0.0));
    }
    std::sort(latencies.begin(), latencies.end());
    const auto at = [&](double q) { return latencies[std::min(latencies.size() - 1, std::size_t(q * latencies.size()))]; };
    state.counters["median_ms"] = at(0.5) * 1e3;
    state.counters["p99_ms"] = at(0.99) * 1e3;
    state.counters["max_ms"] = latencies.back() * 1e3;
}
BENCHMARK(BM_CommitToNotification)->UseManualTime()->Iterations(1000)->Unit(benchmark::kMicrosecond);

void BM_IdleWatcher(benchmark::State& state) {
    QTemporaryDir dir;
    const std::string folder = dir.path().toStdString();
    paramcor::SqliteRegistryStore store(folder);
    setValue(store, 0);
    Watcher watcher(folder);
    if (!watcher.ok()) {
        state.SkipWithError("the watcher did not start");
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // let it settle
    for (auto _ : state) {
        const double cpuBefore = watcher.cpuSeconds();
        const long wakeUpsBefore = watcher.wakeUps();
        std::this_thread::sleep_for(std::chrono::duration<double>(idleSeconds));
        state.counters["idle_s"] = idleSeconds;
        state.counters["cpu_ms"] = (watcher.cpuSeconds() - cpuBefore) * 1e3;
        state.counters["wakeups"] = double(watcher.wakeUps() - wakeUpsBefore);
        state.SetIterationTime(idleSeconds);
    }
}
BENCHMARK(BM_IdleWatcher)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// One value in each of `keys` keys below kKey, in one batch.
void fillSubtree(paramcor::RegistryStore& store, int keys) {
    store.beginBatch(paramcor::Hive::CurrentUser);
    for (int i = 0; i < keys; ++i) {
        paramcor::StoreKey key(store);
        key.create(paramcor::Hive::CurrentUser, std::string(kKey) + "\\K" + std::to_string(i));
        store.setValue(key.handle(), "Valore", paramcor::regtype::Dword, {1, 0, 0, 0});
    }
    store.commitBatch(paramcor::Hive::CurrentUser);
}

void BM_WatcherCpuPerWrite(benchmark::State& state) {
    QTemporaryDir dir;
    const std::string folder = dir.path().toStdString();
    paramcor::SqliteRegistryStore store(folder);
    const int keys = int(state.range(0));
    fillSubtree(store, keys);
    Watcher watcher(folder, true);
    if (!watcher.ok()) {
        state.SkipWithError("the watcher did not start");
        return;
    }
    const double cpuBefore = watcher.cpuSeconds();
    std::uint32_t value = 2;
    std::int64_t writes = 0;
    for (auto _ : state) {
        paramcor::StoreKey key(store);
        key.create(paramcor::Hive::CurrentUser, std::string(kKey) + "\\K" + std::to_string(value % keys));
        store.setValue(key.handle(), "Valore", paramcor::regtype::Dword,
                       {std::uint8_t(value), std::uint8_t(value >> 8), std::uint8_t(value >> 16), 1});
        ++value;
        std::int64_t heard = 0;
        if (!watcher.heard(heard)) {
            state.SkipWithError("the watcher stopped");
            return;
        }
        ++writes;
    }
    state.counters["watcher_cpu_us_per_write"] = (watcher.cpuSeconds() - cpuBefore) * 1e6 / double(writes);
}
BENCHMARK(BM_WatcherCpuPerWrite)->Arg(1000)->Arg(100000)->Iterations(500)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const char* flag = "--benchmark_min_time=";
        if (std::strncmp(argv[i], flag, std::strlen(flag)) == 0 && std::atof(argv[i] + std::strlen(flag)) < 1)
            idleSeconds = 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
