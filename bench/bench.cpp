// What a host pays for RQBehavior, each figure beside a baseline measured in
// the same run: see bench/README.md for what each line means and how it is
// measured. The driver runs every measurement in a fresh child process (the
// library's side in rqbehavior-bench-child, the raw-reads program, or the
// start-up hosts), so that one figure never warms the caches of another, and
// prints one table. The driver alone holds the loopback receiver and its CA,
// whose OpenSSL must not be in the measured processes.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"
#include "Constants/RQBBuildConfig.h"
#include "LoopbackReceiver.h"

namespace {

using rqb::bench::Median;
using rqb::bench::TimeUs;
using rqb::loopback::LoopbackReceiver;
using rqb::loopback::TestCertificateAuthority;

constexpr int kWarmRuns = 200;
constexpr int kFreshProcesses = 5;
// The first call of a process is one sample per process: more processes.
constexpr int kFirstCallProcesses = 15;
constexpr int kUploads = 60;
constexpr int kStartups = 40;
// A host's long life: anonymous memory after 1, 10, 100 ... runs with uploads.
constexpr int kLongLifeRuns = 10000;

// ---------------------------------------------------------------------------
// The driver.

struct Output {
  std::string out;
  std::string err;
  bool ok = false;
};

std::string ReadAll(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, got);
  close(fd);
  return text;
}

// Runs `command` to its end and returns what it printed.
Output Run(const std::vector<std::string>& command, const std::vector<std::string>& env = {}) {
  std::string err_path = "/tmp/rqbehavior-bench-err-" + std::to_string(getpid());
  int out_pipe[2];
  if (pipe(out_pipe) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(out_pipe[1], 1);
    close(out_pipe[0]);
    close(out_pipe[1]);
    const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (err >= 0) dup2(err, 2);
    for (const std::string& assignment : env) putenv(strdup(assignment.c_str()));
    std::vector<char*> args;
    for (const std::string& word : command) args.push_back(const_cast<char*>(word.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(out_pipe[1]);
  Output output;
  output.out = ReadAll(out_pipe[0]);
  int status = 0;
  waitpid(child, &status, 0);
  std::ifstream err(err_path);
  output.err.assign(std::istreambuf_iterator<char>(err), std::istreambuf_iterator<char>());
  unlink(err_path.c_str());
  output.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return output;
}

std::vector<double> Numbers(const std::string& text) {
  std::istringstream in(text);
  std::vector<double> numbers;
  for (double number; in >> number;) numbers.push_back(number);
  return numbers;
}

// The median of each column of what `command` prints, over several fresh
// processes.
std::vector<double> MedianOverProcesses(const std::vector<std::string>& command,
                                        const std::vector<std::string>& env = {},
                                        int processes = kFreshProcesses) {
  std::vector<std::vector<double>> columns;
  for (int i = 0; i < processes; ++i) {
    const Output output = Run(command, env);
    const std::vector<double> numbers = Numbers(output.out);
    if (!output.ok || numbers.empty()) {
      std::fprintf(stderr, "bench: %s failed: %s\n", command[1].c_str(), output.err.c_str());
      continue;
    }
    columns.resize(std::max(columns.size(), numbers.size()));
    for (std::size_t c = 0; c < numbers.size(); ++c) columns[c].push_back(numbers[c]);
  }
  std::vector<double> medians;
  for (const auto& column : columns) medians.push_back(Median(column));
  return medians;
}

struct SyscallCount {
  long calls = -1;
  long sockets = -1;
};

// System calls made between the begin and end markers, on every thread.
SyscallCount CountSyscalls(const std::vector<std::string>& command,
                           const std::vector<std::string>& env, const std::string& folder) {
  const std::string trace = folder + "/trace";
  std::vector<std::string> traced = {"strace", "-f", "-qq", "-o", trace};
  traced.insert(traced.end(), command.begin(), command.end());
  if (!Run(traced, env).ok) return {};
  std::ifstream lines(trace);
  SyscallCount count{0, 0};
  bool inside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("rqb-bench-mark/begin") != std::string::npos) {
      inside = true;
      continue;
    }
    if (line.find("rqb-bench-mark/end") != std::string::npos) break;
    if (!inside || line.find("resumed>") != std::string::npos) continue;
    // "<pid> <call>(...": skip the pid, then signals and exits.
    const std::size_t call = line.find_first_not_of("0123456789 ");
    if (call == std::string::npos || line[call] == '-' || line[call] == '+') continue;
    ++count.calls;
    if (line.compare(call, 7, "socket(") == 0) ++count.sockets;
  }
  unlink(trace.c_str());
  return count;
}

// User-space instructions of the function `function` (callgrind), or -1.
long CountInstructions(const std::vector<std::string>& command, const std::vector<std::string>& env,
                       const std::string& folder, const std::string& function) {
  const std::string out = folder + "/callgrind.out";
  std::vector<std::string> profiled = {"valgrind", "--tool=callgrind",
                                       "--callgrind-out-file=" + out,
                                       "--toggle-collect=" + function};
  profiled.insert(profiled.end(), command.begin(), command.end());
  if (!Run(profiled, env).ok) return -1;
  std::ifstream lines(out);
  long total = -1;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("totals:", 0) == 0 || line.rfind("summary:", 0) == 0) {
      total = std::atol(line.c_str() + line.find(':') + 1);
    }
  }
  unlink(out.c_str());
  return total;
}

bool Installed(const char* program) {
  return Run({"sh", "-c", std::string("command -v ") + program}).ok;
}

// A throw-away D-Bus daemon of the system type, with no services on it.
class PrivateSystemBus {
 public:
  explicit PrivateSystemBus(const std::string& folder) : socket_(folder + "/system_bus_socket") {
    const std::string config = folder + "/system-bus.conf";
    std::ofstream(config)
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>system</type><listen>unix:path="
        << socket_
        << "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
           "<allow user=\"*\"/><allow own=\"*\"/><allow send_type=\"method_call\"/>"
           "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
           "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
           "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
           "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/>"
           "</policy></busconfig>\n";
    pid_ = fork();
    if (pid_ == 0) {
      const int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      execlp("dbus-daemon", "dbus-daemon", ("--config-file=" + config).c_str(), "--nofork",
             "--nopidfile", static_cast<char*>(nullptr));
      _exit(127);
    }
    struct stat info {};
    for (int i = 0; i < 500 && stat(socket_.c_str(), &info) != 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    up_ = stat(socket_.c_str(), &info) == 0;
  }
  ~PrivateSystemBus() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  bool up() const { return up_; }
  std::string Address() const { return "unix:path=" + socket_; }

 private:
  std::string socket_;
  pid_t pid_ = -1;
  bool up_ = false;
};

// Runs the receiver in a child process, which reports its port on a pipe.
pid_t StartReceiverProcess(const TestCertificateAuthority& ca, const std::string& host, int* port) {
  int fds[2];
  if (pipe(fds) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    LoopbackReceiver receiver(ca, host);
    const int listening = receiver.port();
    if (write(fds[1], &listening, sizeof listening) != sizeof listening) _exit(1);
    for (;;) pause();
  }
  close(fds[1]);
  if (read(fds[0], port, sizeof *port) != sizeof *port) *port = 0;
  close(fds[0]);
  return child;
}

struct StartupFigures {
  double median_us = -1;
  long objects = -1;
  long relocations = -1;  // symbol relocations, each a symbol lookup
  long anonymous_kb = -1;
};

long StatisticOf(const std::string& text, const std::string& name) {
  const std::size_t at = text.find(name);
  return at == std::string::npos ? 0 : std::atol(text.c_str() + at + name.size());
}

StartupFigures Startup(const std::string& host, const std::vector<double>& times) {
  StartupFigures figures;
  figures.median_us = Median(times);
  const Output statistics = Run({host}, {"LD_DEBUG=statistics"});
  figures.relocations = StatisticOf(statistics.err, "number of relocations:");
  const std::vector<double> report = Numbers(Run({host}, {"RQB_HOST_REPORT=1"}).out);
  if (report.size() >= 2) {
    figures.objects = static_cast<long>(report[0]);
    figures.anonymous_kb = static_cast<long>(report[1]);
  }
  return figures;
}

double Get(const std::vector<double>& values, std::size_t index) {
  return index < values.size() ? values[index] : -1;
}

std::string Us(double us) {
  char text[32];
  if (us < 0) return "n/a";
  if (us >= 1000) {
    std::snprintf(text, sizeof text, "%.2f ms", us / 1000);
  } else {
    std::snprintf(text, sizeof text, "%.1f us", us);
  }
  return text;
}

void Row(const std::string& figure, const std::string& ours, const std::string& base, double ratio,
         const std::string& goal) {
  char ratio_text[32] = "-";
  if (ratio > 0) std::snprintf(ratio_text, sizeof ratio_text, "%.2fx", ratio);
  std::printf("%-52s %18s %18s %9s  %s\n", figure.c_str(), ours.c_str(), base.c_str(), ratio_text,
              goal.c_str());
}

double Ratio(double ours, double base) { return ours > 0 && base > 0 ? ours / base : -1; }

int DriverMain(const std::string& self) {
  const std::string bin = self.substr(0, self.rfind('/') + 1);
  const std::string child = bin + "rqbehavior-bench-child";
  const std::string raw = bin + "rqbehavior-raw-reads";
  const std::string host_with = bin + "rqbehavior-host-with-library";
  const std::string host_without = bin + "rqbehavior-host-without-library";

  // A private home, so that the preferences the runs keep stay out of the
  // developer's own.
  char folder_template[] = "/tmp/rqbehavior-bench-XXXXXX";
  const std::string folder = mkdtemp(folder_template);
  setenv("HOME", (folder + "/home").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (folder + "/home/.config").c_str(), 1);
  Run({"mkdir", "-p", folder + "/home/.config"});

  const std::string host = rqb::loopback::HostOfUrl(RQB_PROFILER_BASE_URL);
  TestCertificateAuthority ca;
  int port = 0;
  const pid_t receiver = StartReceiverProcess(ca, host, &port);
  const std::string ca_path = folder + "/ca.pem";
  std::ofstream(ca_path) << ca.CertificatePem();
  const std::vector<std::string> loopback = {rqb::loopback::AuthorityOfUrl(RQB_PROFILER_BASE_URL),
                                             std::to_string(port), ca_path};
  const auto with_loopback = [&](std::vector<std::string> command) {
    command.insert(command.end(), loopback.begin(), loopback.end());
    return command;
  };

  PrivateSystemBus bus(folder);
  const std::string no_bus = "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + folder + "/no-bus";
  const std::string with_bus = "DBUS_SYSTEM_BUS_ADDRESS=" + bus.Address();

  // The first run of all writes the preferences file that every later one
  // reads.
  Run({child, "runs", "1"}, {no_bus});

  std::fprintf(stderr, "bench: collection runs...\n");
  const std::string warm_runs = std::to_string(kWarmRuns);
  const auto lib = MedianOverProcesses({child, "runs", warm_runs}, {no_bus});
  const auto base = MedianOverProcesses({raw, "runs", warm_runs}, {no_bus});
  std::vector<double> lib_bus, base_bus;
  if (bus.up()) {
    lib_bus = MedianOverProcesses({child, "runs", warm_runs}, {with_bus});
    base_bus = MedianOverProcesses({raw, "runs", warm_runs}, {with_bus});
  }

  std::fprintf(stderr, "bench: system calls...\n");
  SyscallCount lib_calls, base_calls, lib_cold_calls, base_cold_calls, lib_bus_calls,
      base_bus_calls;
  if (Installed("strace")) {
    lib_calls = CountSyscalls({child, "mark", "warm"}, {no_bus}, folder);
    base_calls = CountSyscalls({raw, "mark", "warm"}, {no_bus}, folder);
    lib_cold_calls = CountSyscalls({child, "mark", "cold"}, {no_bus}, folder);
    base_cold_calls = CountSyscalls({raw, "mark", "cold"}, {no_bus}, folder);
    if (bus.up()) {
      lib_bus_calls = CountSyscalls({child, "mark", "warm"}, {with_bus}, folder);
      base_bus_calls = CountSyscalls({raw, "mark", "warm"}, {with_bus}, folder);
    }
  }
  long lib_instructions = -1, base_instructions = -1, lib_cold_instructions = -1,
       base_cold_instructions = -1;
  if (Installed("valgrind")) {
    std::fprintf(stderr, "bench: instruction counts...\n");
    const auto count = [&](const std::string& program, const char* when, const char* function) {
      return CountInstructions({program, "callgrind", when}, {no_bus}, folder, function);
    };
    lib_instructions = count(child, "warm", "rqb_bench_measured_run");
    base_instructions = count(raw, "warm", "rqb_bench_measured_pass");
    lib_cold_instructions = count(child, "cold", "rqb_bench_measured_run");
    base_cold_instructions = count(raw, "cold", "rqb_bench_measured_pass");
  }

  std::fprintf(stderr, "bench: first calls, uploads, start-up, memory...\n");
  const auto first_call =
      MedianOverProcesses({host_with, "first-call", "20"}, {no_bus}, kFirstCallProcesses);
  const auto first_thread =
      MedianOverProcesses({child, "first-thread"}, {no_bus}, kFirstCallProcesses);
  std::vector<std::string> upload_command = with_loopback({child, "uploads"});
  upload_command.push_back(std::to_string(kUploads));
  const auto uploads = MedianOverProcesses(upload_command, {no_bus}, 1);
  const auto first_upload = MedianOverProcesses(with_loopback({child, "first-upload"}), {no_bus});
  const auto first_easy =
      MedianOverProcesses(with_loopback({child, "first-easy-upload"}), {no_bus});

  std::vector<double> with_times, without_times;
  for (int i = 0; i < kStartups; ++i) {
    with_times.push_back(TimeUs([&] { Run({host_with}); }));
    without_times.push_back(TimeUs([&] { Run({host_without}); }));
  }
  const StartupFigures with = Startup(host_with, with_times);
  const StartupFigures without = Startup(host_without, without_times);
  const auto memory = MedianOverProcesses(with_loopback({child, "memory"}), {no_bus}, 3);
  const auto memory_system_ca =
      MedianOverProcesses(with_loopback({child, "memory-system-ca"}), {no_bus}, 3);

  std::fprintf(stderr, "bench: address space, %d runs with uploads...\n", kLongLifeRuns);
  const auto space = MedianOverProcesses(with_loopback({child, "address-space"}), {no_bus}, 3);
  const auto space_plain =
      MedianOverProcesses(with_loopback({child, "address-space-plain"}), {no_bus}, 3);
  const auto long_life_command = [&](const char* mode) {
    std::vector<std::string> command = with_loopback({child, mode});
    command.push_back(std::to_string(kLongLifeRuns));
    return command;
  };
  const auto long_life = MedianOverProcesses(long_life_command("long-life"), {no_bus}, 1);
  const auto long_life_plain =
      MedianOverProcesses(long_life_command("long-life-plain"), {no_bus}, 1);

  kill(receiver, SIGKILL);
  waitpid(receiver, nullptr, 0);
  Run({"rm", "-rf", folder});

  // The table.
  std::printf("%-52s %18s %18s %9s  %s\n", "figure", "library", "baseline", "ratio", "goal");
  const double warm = Get(lib, 2), warm_base = Get(base, 1);
  Row("warm collection run, no upload", Us(warm), Us(warm_base), Ratio(warm, warm_base),
      "<= 1.5x raw reads");
  const double cold = Get(lib, 0) + Get(lib, 1), cold_base = Get(base, 0);
  Row("  cold: first run of a process, set-up included", Us(cold), Us(cold_base),
      Ratio(cold, cold_base), "<= 1.2x");
  Row("    of which platform set-up", Us(Get(lib, 0)), "", -1, "");
  if (bus.up()) {
    const double bus_warm = Get(lib_bus, 2), bus_base = Get(base_bus, 1);
    Row("warm run, system bus up, no location/modem service", Us(bus_warm), Us(bus_base),
        Ratio(bus_warm, bus_base), "<= 1.5x raw reads");
    const double bus_cold = Get(lib_bus, 0) + Get(lib_bus, 1), bus_cold_base = Get(base_bus, 0);
    Row("  cold: first run of a process, set-up included", Us(bus_cold), Us(bus_cold_base),
        Ratio(bus_cold, bus_cold_base), "");
  } else {
    Row("warm run, system bus up (no dbus-daemon here)", "n/a", "n/a", -1, "");
  }
  const auto calls = [](const SyscallCount& count) {
    return count.calls < 0
               ? std::string("n/a")
               : std::to_string(count.calls) + " (" + std::to_string(count.sockets) + " sockets)";
  };
  Row("system calls per warm run", calls(lib_calls), calls(base_calls),
      Ratio(lib_calls.calls, base_calls.calls), "");
  Row("  cold: first run of a process, set-up included", calls(lib_cold_calls),
      calls(base_cold_calls), Ratio(lib_cold_calls.calls, base_cold_calls.calls), "");
  if (bus.up()) {
    Row("  warm, system bus up", calls(lib_bus_calls), calls(base_bus_calls),
        Ratio(lib_bus_calls.calls, base_bus_calls.calls), "");
  }
  const auto count_text = [](long count) {
    return count < 0 ? std::string("n/a") : std::to_string(count);
  };
  Row("instructions per warm run (callgrind, user space)", count_text(lib_instructions),
      count_text(base_instructions), Ratio(lib_instructions, base_instructions), "");
  Row("  cold: first run of a process, set-up included", count_text(lib_cold_instructions),
      count_text(base_cold_instructions), Ratio(lib_cold_instructions, base_cold_instructions), "");
  Row("first calls of a process on the host's thread", Us(Get(first_call, 0)),
      Us(Get(first_call, 1)) + " later", Ratio(Get(first_call, 0), Get(first_call, 1)), "");
  Row("  of which starting the pool's first thread", Us(Get(first_thread, 0)), "", -1,
      "unavoidable, once");
  const double rest = Get(first_call, 0) > 0 && Get(first_thread, 0) > 0
                          ? Get(first_call, 0) - Get(first_thread, 0)
                          : -1;
  Row("  the rest (difference of the two medians)", Us(rest), Us(Get(first_call, 1)) + " later",
      Ratio(rest, Get(first_call, 1)), "<= 20 us");
  Row("HTTPS upload to loopback, call to completion", Us(Get(uploads, 0)), Us(Get(uploads, 1)),
      Ratio(Get(uploads, 0), Get(uploads, 1)), "<= 1.05x easy handle");
  Row("  cold: first upload of a process, libcurl loaded", Us(Get(first_upload, 0)),
      Us(Get(first_easy, 0)), Ratio(Get(first_upload, 0), Get(first_easy, 0)), "");
  Row("host start-up, linked but never called", Us(with.median_us), Us(without.median_us),
      Ratio(with.median_us, without.median_us), "<= 2x host without");
  Row("  shared objects loaded", count_text(with.objects), count_text(without.objects),
      Ratio(with.objects, without.objects), "");
  Row("  symbol relocations (LD_DEBUG=statistics)", count_text(with.relocations),
      count_text(without.relocations), Ratio(with.relocations, without.relocations), "");
  Row("  anonymous memory at exit (kB)", count_text(with.anonymous_kb),
      count_text(without.anonymous_kb), -1, "");
  Row("anonymous memory after one run and upload (kB)",
      count_text(static_cast<long>(Get(memory_system_ca, 0))),
      count_text(without.anonymous_kb) + " host", -1, "<= 2048 kB");
  Row("  with the test CA instead of the system's CA store",
      count_text(static_cast<long>(Get(memory, 0))), "", -1, "");
  Row("anonymous memory after runs with uploads (kB)", "", "one plain thread", -1, "");
  const char* const after[] = {"  after 1 run", "  after 10 runs", "  after 100 runs",
                               "  after 1,000 runs", "  after 10,000 runs"};
  for (std::size_t i = 0; i < std::size(after); ++i) {
    if (i == 1) continue;  // 10: printed by the children, not asked for here
    const double ours = Get(long_life, i), plain = Get(long_life_plain, i);
    std::string goal;
    if (i + 1 == std::size(after) && ours > 0 && Get(long_life, 3) > 0) {
      char growth[64];
      std::snprintf(growth, sizeof growth, "flat: %+.0f kB since 1,000 runs",
                    ours - Get(long_life, 3));
      goal = growth;
    }
    Row(after[i], count_text(static_cast<long>(ours)), count_text(static_cast<long>(plain)),
        Ratio(ours, plain), goal);
  }
  const auto mib = [](double kb) {
    char text[32];
    if (kb < 0) return std::string("n/a");
    std::snprintf(text, sizeof text, "%.1f MiB", kb / 1024);
    return std::string(text);
  };
  Row("peak address space, a process's first run and upload", mib(Get(space, 0)),
      mib(Get(space_plain, 0)) + " plain", Ratio(Get(space, 0), Get(space_plain, 0)), "");
  const auto counted = [&](double kb, double count) {
    return kb < 0 ? std::string("n/a") : std::to_string(static_cast<int>(count)) + ", " + mib(kb);
  };
  Row("  after it: malloc arenas besides the main heap", counted(Get(space, 2), Get(space, 3)),
      counted(Get(space_plain, 2), Get(space_plain, 3)), -1, "64 MiB each, once it allocates");
  Row("  after it: thread stacks and their guards", counted(Get(space, 4), Get(space, 5)),
      counted(Get(space_plain, 4), Get(space_plain, 5)), -1, "");
  Row("  after it: files mapped (shared objects, ICU data)", mib(Get(space, 6)),
      mib(Get(space_plain, 6)), Ratio(Get(space, 6), Get(space_plain, 6)), "");
  std::printf("wall-clock figures are indicative on a shared machine; counts are stable\n");
  return 0;
}

}  // namespace

int main() {
  char self[4096];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return 1;
  self[length] = '\0';
  return DriverMain(self);
}
