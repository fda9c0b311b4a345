#include "call_log_recorder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace quorvane::testing {
namespace {

std::string Utf8(const std::wstring& text) {
  std::string out;
  for (const wchar_t c : text) {
    const auto code = static_cast<std::uint32_t>(c);
    if (code < 0x80) {
      out += static_cast<char>(code);
    } else {
      out += "\\u" + std::to_string(code);
    }
  }
  return out;
}

void Write(std::ostream& out, const sim::Call& call) {
  out << call.clockMs << ' ' << Utf8(call.operation) << ' ' << Utf8(call.nameSpace) << ' '
      << Utf8(call.target);
  if (!call.method.empty()) {
    out << ' ' << Utf8(call.method);
  }
  out << '\n';
  for (const auto& [name, value] : call.inputs) {
    out << "  " << Utf8(name) << " = " << Utf8(value) << '\n';
  }
}

class CallLogRecorder : public ::testing::EmptyTestEventListener {
 public:
  void Track(const sim::SimulatedHost& host) { hosts_.push_back(host); }

  void OnTestStart(const ::testing::TestInfo&) override { hosts_.clear(); }

  void OnTestEnd(const ::testing::TestInfo& test) override {
    const char* dir = std::getenv("QUORVANE_CALL_LOG_DIR");
    if (dir != nullptr && *dir != '\0' && !test.result()->Skipped()) {
      std::ofstream out(
          std::string(dir) + "/" + test.test_suite_name() + "." + test.name() + ".log",
          std::ios::binary);
      for (std::size_t i = 0; i < hosts_.size(); ++i) {
        out << "host " << i << '\n';
        for (const auto& call : hosts_[i].CallLog()) {
          Write(out, call);
        }
      }
    }
    hosts_.clear();
  }

 private:
  std::vector<sim::SimulatedHost> hosts_;
};

CallLogRecorder& Recorder() {
  // gtest owns the listener once it is appended; it lives as long as the test program.
  static CallLogRecorder* const recorder = [] {
    auto* made = new CallLogRecorder;
    ::testing::UnitTest::GetInstance()->listeners().Append(made);
    return made;
  }();
  return *recorder;
}

const CallLogRecorder* const kRecorder = &Recorder();

}  // namespace

void TrackHost(const sim::SimulatedHost& host) {
  Recorder().Track(host);
}

}  // namespace quorvane::testing
