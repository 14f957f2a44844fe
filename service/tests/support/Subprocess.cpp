#include "Subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rqbservice::testing {

Finished RunToEnd(const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& environment,
                  std::chrono::seconds timeout, const std::string& stderr_file) {
  int pipe_fds[2];
  if (pipe2(pipe_fds, O_CLOEXEC) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    dup2(pipe_fds[1], STDOUT_FILENO);
    if (!stderr_file.empty()) {
      const int log = open(stderr_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
      if (log >= 0) dup2(log, STDERR_FILENO);
    }
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  close(pipe_fds[1]);
  Finished finished;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd readable{pipe_fds[0], POLLIN, 0};
    if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) <= 0) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
      close(pipe_fds[0]);
      finished.status = -1;
      return finished;
    }
    char buffer[4096];
    const ssize_t got = read(pipe_fds[0], buffer, sizeof buffer);
    if (got <= 0) break;
    finished.output.append(buffer, static_cast<std::size_t>(got));
  }
  close(pipe_fds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  finished.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return finished;
}

}  // namespace rqbservice::testing
