// The finished program as a process, and lines to it for scripted devices.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/scratch_directory.h"
#include "synchost/scripted_device.h"

class Socket {
 public:
  explicit Socket(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    isOpen_ = ::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() { ::close(socket_); }

  bool isOpen() const { return isOpen_; }
  bool send(const std::string& bytes) const {
    for (std::size_t done = 0; done < bytes.size();) {
      const ssize_t n = ::send(socket_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
      if (n <= 0) return false;
      done += static_cast<std::size_t>(n);
    }
    return true;
  }
  /// Up to so many bytes more; false at the end, or when nothing comes for a long time.
  bool receive(std::string& to, std::size_t most = 1 << 16) const {
    pollfd waited{socket_, POLLIN, 0};
    std::string room(most, '\0');
    if (::poll(&waited, 1, 60'000) <= 0) return false;
    const ssize_t n = ::recv(socket_, room.data(), room.size(), 0);
    if (n > 0) to.append(room, 0, static_cast<std::size_t>(n));
    return n > 0;
  }

 private:
  int socket_;
  bool isOpen_ = false;
};

/// A line of a whole session; throws LineCut when the host does not answer.
inline ScriptedDevice::Line socketLine(int port) {
  auto socket = std::make_shared<Socket>(port);
  return [socket](const std::string& bytes) {
    if (!socket->isOpen() || !socket->send(bytes)) throw LineCut();
    std::string answer;
    if (bytes[5] == 2) {  // the farewell: nothing comes but the end
      while (socket->receive(answer)) continue;
      return answer;
    }
    const bool isStream = bytes.size() == 6 && (bytes[5] == 11 || bytes[5] == 32);
    for (std::size_t at = 0;;) {
      const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(answer[at + i]); };
      while (answer.size() < at + 2 || answer.size() < at + 2 + (byteAt(0) << 8 | byteAt(1)))
        if (!socket->receive(answer)) throw LineCut();
      const std::size_t size = byteAt(0) << 8 | byteAt(1);
      const bool isLast = !isStream || (size >= 4 && byteAt(5) == 17);
      at += 2 + size;
      if (isLast) return answer;
    }
  };
}

class RunningHost {
 public:
  explicit RunningHost(const std::string& store, std::vector<std::string> more = {}) {
    static std::atomic<int> serial = 0;
    told_ = "host-" + std::to_string(++serial);
    std::vector<std::string> words{SYNCHOST,    "--store",     store,   "--listen",      "127.0.0.1:0",
                                   "--metrics", "127.0.0.1:0", "--log", "sessions.jsonl"};
    words.insert(words.end(), more.begin(), more.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    process_ = fork();
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const int file = open(told_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(file, STDERR_FILENO);
      execv(SYNCHOST, argv.data());
      _exit(99);
    }
    for (int i = 0; i < 400 && metrics == 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
      port = portIn("listening on 127.0.0.1:");
      metrics = portIn("metrics on http://127.0.0.1:");
    }
    EXPECT_NE(metrics, 0) << told();
  }
  RunningHost(const RunningHost&) = delete;
  RunningHost& operator=(const RunningHost&) = delete;
  ~RunningHost() {
    if (process_ > 0) end(SIGKILL);
  }

  /// Exit status, or 1000 + signal.
  int end(int signal) {
    kill(process_, signal);
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  pid_t process() const { return process_; }
  void askToEnd() const { kill(process_, SIGTERM); }
  std::string told() const { return readFile(told_); }
  /// Its memory now, in KiB.
  long memory(const std::string& row = "VmRSS:") const {
    std::ifstream status("/proc/" + std::to_string(process_) + "/status");
    for (std::string word; status >> word;)
      if (long size = 0; word == row && status >> size) return size;
    return 0;
  }
  std::string page(const std::string& path = "/metrics") const {
    Socket socket(metrics);
    socket.send("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
    std::string text;
    while (socket.receive(text)) continue;
    return text;
  }

  std::atomic<int> port = 0;
  int metrics = 0;

 private:
  int portIn(const std::string& words) const {
    const std::string text = told();
    const std::size_t at = text.find(words);
    const bool whole = at != std::string::npos && text.find('\n', at) != std::string::npos;
    return whole ? std::atoi(text.c_str() + at + words.size()) : 0;
  }

  std::string told_;
  pid_t process_ = -1;
};
