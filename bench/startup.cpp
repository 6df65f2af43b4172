// Start-up of whole processes, each run by fork and exec with its output discarded: `vexakelo ies`
// on a 16 KB lamp against a program that links only the shader library and reads the same file,
// alternated in one loop so both see the same machine. The ratio counter is the figure to keep
// low; `vexakelo kelvin` and `list` show the other light commands, `vexakelo-full ies` what the
// same command costs with every library of the program mapped.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const std::string kLamp = VEXAKELO_SOURCE_DIR "/tests/data/ies/lm02_0_180_crlf.ies";

// Wall time of one process from fork to reaping, in seconds.
double runProcess(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, 1);
        ::dup2(null, 2);
        ::execv(args[0], args.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::abort();  // a benchmark of a failing command measures nothing
    }
    return seconds;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

void compare(benchmark::State& state, const std::vector<std::string>& command) {
    const std::vector<std::string> minimal = {MINIMAL_IES, kLamp};
    std::vector<double> tool, floor;
    for (auto _ : state) {
        tool.push_back(runProcess(command));
        floor.push_back(runProcess(minimal));
    }
    const double t = median(tool), f = median(floor);
    state.counters["ms_command"] = t * 1e3;
    state.counters["ms_minimal"] = f * 1e3;
    state.counters["ratio"] = t / f;
}

void BM_StartupIes(benchmark::State& state) { compare(state, {VEXAKELO_CLI, "ies", kLamp}); }
void BM_StartupIesFullProgram(benchmark::State& state) {
    compare(state, {VEXAKELO_FULL, "ies", kLamp});
}
void BM_StartupKelvin(benchmark::State& state) {
    compare(state, {VEXAKELO_CLI, "kelvin", "6500", "--xyz"});
}
void BM_StartupList(benchmark::State& state) { compare(state, {VEXAKELO_CLI, "list"}); }

BENCHMARK(BM_StartupIes)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(300);
BENCHMARK(BM_StartupIesFullProgram)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(300);
BENCHMARK(BM_StartupKelvin)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(300);
BENCHMARK(BM_StartupList)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(100);

}  // namespace
