#include "password.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

#if defined(_WIN32)
#include <windows.h>
#else
#include <termios.h>
#include <unistd.h>
#endif

namespace quorvane::cli {
namespace {

// Turns the terminal's echo off while it lives.
class NoEcho {
 public:
  NoEcho() {
#if defined(_WIN32)
    input_ = GetStdHandle(STD_INPUT_HANDLE);
    if (GetConsoleMode(input_, &mode_)) {
      SetConsoleMode(input_, mode_ & ~ENABLE_ECHO_INPUT);
      changed_ = true;
    }
#else
    if (tcgetattr(STDIN_FILENO, &mode_) == 0) {
      termios quiet = mode_;
      quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
      changed_ = tcsetattr(STDIN_FILENO, TCSANOW, &quiet) == 0;
    }
#endif
  }
  ~NoEcho() {
    if (changed_) {
#if defined(_WIN32)
      SetConsoleMode(input_, mode_);
#else
      tcsetattr(STDIN_FILENO, TCSANOW, &mode_);
#endif
    }
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
#if defined(_WIN32)
  HANDLE input_ = nullptr;
  DWORD mode_ = 0;
#else
  termios mode_{};
#endif
  bool changed_ = false;
};

}  // namespace

std::string ReadPassword(const std::string& user) {
  if (user.empty()) {
    return "";
  }
  if (const char* given = std::getenv("QUORVANE_PASSWORD")) {
    return given;
  }
  std::fprintf(stderr, "Password for %s: ", user.c_str());
  std::string password;
  {
    NoEcho quiet;
    std::getline(std::cin, password);
  }
  std::fprintf(stderr, "\n");
  return password;
}

}  // namespace quorvane::cli
