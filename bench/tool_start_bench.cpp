// The start of paramcor as its users run it, one wording translated, against a bare
// Qt Core program started the same way: the processor time of the whole child
// process, from exec to exit, read from the kernel's accounting (wait4).
#include "BenchSupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

extern char** environ;

namespace {

// Runs a program with its output thrown away; the child's processor time in seconds,
// or a negative number when it could not run or failed.
double childProcessorSeconds(const std::vector<std::string>& command) {
    std::vector<char*> argv;
    for (const std::string& word : command)
        argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void measure(benchmark::State& state, const std::vector<std::string>& command) {
    if (childProcessorSeconds(command) < 0) {  // the first run also takes in the delivered texts
        state.SkipWithError("the program failed");
        return;
    }
    for (auto _ : state) {
        const double seconds = childProcessorSeconds(command);
        if (seconds < 0) {
            state.SkipWithError("the program failed");
            return;
        }
        state.SetIterationTime(seconds);
    }
}

// A copy of the sample installation and a store of its own, made once.
struct Installation {
    Installation() {
        const QString samples = QStringLiteral(CVLPARAMCOR_SAMPLES);
        QDir().mkpath(dir.path() + "/installation/Testi");
        QFile::copy(samples + "/ParamCor.txt", dir.path() + "/installation/ParamCor.txt");
        QFile::copy(samples + "/Testi/CvlTrad.mdb", dir.path() + "/installation/Testi/CvlTrad.mdb");
    }
    QTemporaryDir dir;
};

void Paramcor_traduci(benchmark::State& state) {
    static Installation installation;
    const std::string folder = installation.dir.path().toStdString();
    measure(state, {PARAMCOR_TOOL, "--registro", folder + "/store", "--installazione", folder + "/installation",
                    "traduci", "Annulla", "--lingua", "2"});
}
BENCHMARK(Paramcor_traduci)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(50);

void Paramcor_help(benchmark::State& state) {
    measure(state, {PARAMCOR_TOOL, "--help"});
}
BENCHMARK(Paramcor_help)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(50);

void BareQtProgram(benchmark::State& state) {
    measure(state, {BARE_QT_PROGRAM});
}
BENCHMARK(BareQtProgram)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(50);

}  // namespace

int main(int argc, char** argv) {
    return bench::runWithRatios(argc, argv,
                                {{"Paramcor_traduci", "BareQtProgram"}, {"Paramcor_help", "BareQtProgram"}});
}
