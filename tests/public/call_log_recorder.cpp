#include "call_log_recorder.h"

#include "call_log_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace quorvane::testing {
namespace {

class CallLogRecorder : public ::testing::EmptyTestEventListener {
 public:
  void Track(const sim::SimulatedHost& host) { hosts_.push_back(host); }

  void OnTestStart(const ::testing::TestInfo&) override { hosts_.clear(); }

  void OnTestEnd(const ::testing::TestInfo& test) override {
    const char* dir = std::getenv("QUORVANE_CALL_LOG_DIR");
    if (dir == nullptr || *dir == '\0') {
      hosts_.clear();
      return;
    }
    // Parameterized tests have slashes in their names.
    std::string name = std::string(test.test_suite_name()) + "." + test.name();
    std::replace(name.begin(), name.end(), '/', '.');
    if (test.result()->Skipped()) {
      // Said so, so that the comparison knows the missing log is meant.
      std::ofstream(std::string(dir) + "/" + name + ".skipped", std::ios::binary);
    } else if (!hosts_.empty()) {
      std::string text;
      for (std::size_t i = 0; i < hosts_.size(); ++i) {
        text += "host " + std::to_string(i) + "\n" + CallLogText(hosts_[i].CallLog());
      }
      std::ofstream(std::string(dir) + "/" + name + ".log", std::ios::binary) << NumberGuids(text);
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
