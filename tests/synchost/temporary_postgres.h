// A PostgreSQL server of a test's own, from Debian's package, on a free port.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

class TemporaryPostgres {
 public:
  TemporaryPostgres() {
    const std::string programs = newest();
    if (programs.empty()) return;
    directory_ = std::filesystem::temp_directory_path() / "postgres-XXXXXX";
    if (mkdtemp(directory_.data()) == nullptr) return;
    user_ = getuid() == 0 ? getpwnam("postgres") : nullptr;  // it does not run as root
    if (user_ != nullptr && chown(directory_.c_str(), user_->pw_uid, user_->pw_gid) != 0) return;
    const int made = wait(start({programs + "/initdb", "-D", directory_ + "/data", "-U", "test", "--auth=trust", "-N",
                                 "--locale=C.UTF-8", "-E", "UTF8"}));
    if (made != 0) return;
    port_ = freePort();
    server_ = start({programs + "/postgres", "-D", directory_ + "/data", "-p", std::to_string(port_), "-c",
                     "listen_addresses=127.0.0.1", "-c", "unix_socket_directories="});
    const Words ask = {programs + "/pg_isready", "-h", "127.0.0.1", "-p", std::to_string(port_)};
    for (int i = 0; i < 200 && wait(start(ask)) != 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  ~TemporaryPostgres() {
    if (server_ > 0) {
      kill(server_, SIGINT);
      wait(server_);
    }
    std::error_code ignored;
    if (!directory_.empty()) std::filesystem::remove_all(directory_, ignored);
  }
  TemporaryPostgres(const TemporaryPostgres&) = delete;
  TemporaryPostgres& operator=(const TemporaryPostgres&) = delete;

  /// Empty when there is none.
  std::string address() const {
    return server_ > 0 ? "postgresql://test@127.0.0.1:" + std::to_string(port_) + "/postgres" : "";
  }

 private:
  using Words = std::vector<std::string>;

  static std::string newest() {
    std::string found;
    std::error_code ignored;
    for (const auto& version : std::filesystem::directory_iterator("/usr/lib/postgresql", ignored))
      if (std::filesystem::exists(version.path() / "bin/initdb")) found = version.path() / "bin";
    return found;
  }

  static int freePort() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* place = reinterpret_cast<sockaddr*>(&address);
    const int made = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool done = ::bind(made, place, size) == 0 && ::getsockname(made, place, &size) == 0;
    ::close(made);
    return done ? ntohs(address.sin_port) : 0;
  }

  pid_t start(Words words) const {
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGINT);
    if (user_ != nullptr && (setgid(user_->pw_gid) != 0 || setuid(user_->pw_uid) != 0)) _exit(98);
    if (chdir("/") != 0 || freopen("/dev/null", "w", stdout) == nullptr || freopen("/dev/null", "w", stderr) == nullptr)
      _exit(97);
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(99);
  }
  static int wait(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }

  std::string directory_;
  const passwd* user_ = nullptr;
  int port_ = 0;
  pid_t server_ = -1;
};
