// Runs the finished tool as a user does and tells what came back.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/scratch_directory.h"

struct Ran {
  int status = -1;  // exit status, or 1000 + signal
  std::string out;
  std::string err;
};

using Words = std::vector<std::string>;

/// Runs `body` in a process of its own on a terminal; what it printed, and its exit status at the end.
inline std::string onTerminal(const std::function<void()>& body, const std::string& typed = "",
                              unsigned short columns = 80) {
  int terminal = -1;
  winsize size{24, columns, 0, 0};
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    body();
    _exit(0);
  }
  EXPECT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  std::string text;
  char buffer[4096];
  for (ssize_t n; (n = read(terminal, buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<std::size_t>(n));
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  return text + " " + std::to_string(WEXITSTATUS(status));
}

/// A test with a directory of its own, in which the tool runs.
class ToolTest : public testing::Test {
 protected:
  Ran run(const std::vector<std::string>& arguments, const std::string& input = "") const {
    return ended(start(arguments, input));
  }

  /// Starts the tool in a process group of its own; ended() waits for it.
  pid_t start(std::vector<std::string> arguments, const std::string& input = "") const {
    writeFile(directory / "stdin", input);
    const pid_t child = fork();
    if (child == 0) {
      signal(SIGINT, SIG_DFL);  // whoever runs the tests in the background has it ignored
      setpgid(0, 0);
      if (chdir(directory.c_str()) != 0) _exit(98);
      redirect("stdin", O_RDONLY, 0);
      redirect("stdout", O_WRONLY | O_CREAT | O_TRUNC, 1);
      redirect("stderr", O_WRONLY | O_CREAT | O_TRUNC, 2);
      arguments.insert(arguments.begin(), TOOL);
      std::vector<char*> argv;
      for (std::string& argument : arguments) argv.push_back(argument.data());
      argv.push_back(nullptr);
      execv(TOOL, argv.data());
      _exit(99);
    }
    setpgid(child, child);
    return child;
  }
  Ran ended(pid_t child) const {
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), readFile(directory / "stdout"),
            readFile(directory / "stderr")};
  }

  /// `tellira VERB --lib <the fake library> ...`
  Ran fake(const std::string& verb, const std::vector<std::string>& arguments, const std::string& input = "") const {
    std::vector<std::string> all{verb, "--lib", FAKE_LIBRARY};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all, input);
  }

  /// Runs it on a terminal; what it printed, and its exit status at the end.
  std::string seenOnTerminal(const std::vector<std::string>& arguments, const std::string& typed = "",
                             unsigned short columns = 80) const {
    return onTerminal(
        [&] {
          std::vector<char*> argv{const_cast<char*>(TOOL)};
          for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
          argv.push_back(nullptr);
          if (chdir(directory.c_str()) == 0) execv(TOOL, argv.data());
          _exit(99);
        },
        typed, columns);
  }

  /// What the fake library was called with; '|' stands between the fields.
  std::string calls() const {
    std::string text = readFile(directory / "calls.txt");
    std::replace(text.begin(), text.end(), '\x01', '|');
    return text;
  }

  /// `tellira db` with these words.
  Ran db(Words words, const std::string& input = "") const {
    words.insert(words.begin(), "db");
    return run(words, input);
  }
  /// The same for what must succeed; its standard output.
  std::string ok(const Words& words, const std::string& input = "") const {
    const Ran ran = db(words, input);
    EXPECT_EQ(ran.status, 0) << words[0] << ": " << ran.err << ran.out;
    return ran.out;
  }
  /// The words of several verbs: "list|schema GOODS".
  static std::vector<Words> verbs(const std::string& text) {
    std::vector<Words> all;
    for (const std::string& one : split(text)) all.push_back(split(one, ' '));
    return all;
  }
  std::string path(const std::string& name) const { return directory / "DB" / name; }

 private:
  ScratchDirectory scratch_;

 protected:
  const std::filesystem::path directory = scratch_.path();

 private:
  static void redirect(const char* file, int flags, int descriptor) {
    const int opened = open(file, flags, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0) _exit(97);
  }
};
