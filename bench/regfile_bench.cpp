// `paramcor registro importa` of a file with one large value, as regedit writes it
// (lines of 25 bytes) and on a single line: the time, and the peak memory of the
// process against the size of the value. Memory that grows with the file rather
// than with the value shows as a ratio well above 2.
#include <QByteArray>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <string>
#include <vector>

extern char** environ;

namespace {

constexpr qint64 kValueBytes = 20'000'000;

// The file: REGEDIT4, one key, one hex: value of kValueBytes bytes.
QString writeFile(const QTemporaryDir& dir, bool wrapped) {
    const QString path = dir.filePath(wrapped ? "wrapped.reg" : "one-line.reg");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write("REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel\\Grande]\r\n\"Blocco\"=hex:");
    static const char kDigits[] = "0123456789abcdef";
    QByteArray line;
    for (qint64 i = 0; i < kValueBytes; ++i) {
        const auto byte = static_cast<unsigned char>(i * 131 + 7);
        line += kDigits[byte >> 4];
        line += kDigits[byte & 15];
        if (i + 1 < kValueBytes)
            line += ',';
        if (wrapped && i % 25 == 24 && i + 1 < kValueBytes)
            line += "\\\r\n  ";
        if (line.size() > (1 << 20)) {
            file.write(line);
            line.clear();
        }
    }
    file.write(line + "\r\n\r\n");
    return path;
}

// Runs the tool to its end; the peak resident memory of the process in bytes, or -1.
long long runTool(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    for (const std::string& a : arguments)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &quiet, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&quiet);
    if (spawned != 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return static_cast<long long>(usage.ru_maxrss) * 1024;
}

void Importa_ValoreDi20MB(benchmark::State& state) {
    const bool wrapped = state.range(0) != 0;
    QTemporaryDir dir;
    const std::string file = writeFile(dir, wrapped).toStdString();
    const std::string small = dir.filePath("small.reg").toStdString();
    QFile smallFile(QString::fromStdString(small));
    if (!smallFile.open(QIODevice::WriteOnly) ||
        smallFile.write("REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\SOFTWARE\\Corvel]\r\n\"Lingua\"=\"2\"\r\n") < 0)
        state.SkipWithError("cannot write the files");
    smallFile.close();
    // What the tool needs whatever it imports.
    const long long baseline =
        runTool({PARAMCOR_TOOL, "--registro", dir.filePath("base").toStdString(), "registro", "importa", small});
    long long peak = 0;
    int run = 0;
    for (auto _ : state) {
        peak = runTool({PARAMCOR_TOOL, "--registro", dir.filePath("store" + QString::number(run++)).toStdString(),
                        "registro", "importa", file});
        if (peak < 0 || baseline < 0) {
            state.SkipWithError("the import failed");
            break;
        }
    }
    state.counters["file_MB"] = static_cast<double>(QFile(QString::fromStdString(file)).size()) / 1e6;
    state.counters["peak_MB"] = static_cast<double>(peak) / 1e6;
    state.counters["base_MB"] = static_cast<double>(baseline) / 1e6;
    // Memory the import took, per byte of the value.
    state.counters["over_value"] = static_cast<double>(peak - baseline) / static_cast<double>(kValueBytes);
}
BENCHMARK(Importa_ValoreDi20MB)->Arg(1)->Arg(0)->ArgName("wrapped")->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
