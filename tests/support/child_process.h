// A program run by a test, with pipes on its standard input and output (and, when asked, its
// standard error to a file, or into the output pipe). Killed at the end of the test if it still
// runs.
#ifndef QUOTLINK_TESTS_SUPPORT_CHILD_PROCESS_H_
#define QUOTLINK_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace quotlink {

struct ChildProcess {
  // As `err_file`: standard error goes into the output pipe too, so that what the program writes
  // on both reads back in the order it was written.
  static constexpr char kErrToOut[] = "2>&1";

  pid_t pid = -1;
  int in = -1;   // the child's standard input
  int out = -1;  // the child's standard output, non-blocking

  explicit ChildProcess(const std::vector<std::string>& argv, const std::string& err_file = "") {
    int to[2], from[2];
    EXPECT_EQ(pipe(to), 0);
    EXPECT_EQ(pipe(from), 0);
    pid = fork();
    if (pid == 0) {
      // A test that dies without its destructors (a fatal signal, exit() from a library) must
      // not leave the program running: it would hold the test runner's output pipe open.
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      dup2(to[0], 0);
      dup2(from[1], 1);
      if (err_file == kErrToOut) {
        dup2(1, 2);
      } else if (!err_file.empty()) {
        const int e = open(err_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (e >= 0) dup2(e, 2);
      }
      close(to[1]);
      close(from[0]);
      std::vector<char*> args;
      for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
      args.push_back(nullptr);
      execv(args[0], args.data());
      _exit(127);
    }
    close(to[0]);
    close(from[1]);
    in = to[1];
    out = from[0];
    fcntl(out, F_SETFL, O_NONBLOCK);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Send(const std::string& text) const {
    EXPECT_EQ(write(in, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  // Appends what the child has written so far to `*text`.
  void ReadInto(std::string* text) const {
    char buf[8192];
    for (ssize_t n; (n = read(out, buf, sizeof buf)) > 0;)
      text->append(buf, static_cast<size_t>(n));
  }
  // Waits for the end; the exit code, or -1 when a signal ended it.
  int Wait() {
    int status = 0;
    waitpid(pid, &status, 0);
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  ~ChildProcess() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    if (in >= 0) close(in);
    if (out >= 0) close(out);
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_CHILD_PROCESS_H_
