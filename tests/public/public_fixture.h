#pragma once

// Tests of the public surface: only the headers of include/quorvane/, linked against the
// shared library as a host application is.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "call_log_recorder.h"
#include "quorvane/owned.h"
#include "quorvane/quorvane.h"
#include "quorvane/simulated_host.h"

namespace quorvane::testing {

using quorvane::Own;
using quorvane::Owned;

// The library exception an action raised, copied out; fails the test when there was none.
template <typename Expected = DefaultException>
Expected Raised(const std::function<void()>& action) {
  try {
    action();
  } catch (const Expected& e) {
    return e;
  }
  ADD_FAILURE() << "nothing was raised";
  return Expected(0, L"nothing was raised");
}

// The operations (with their methods) the host saw.
inline std::vector<std::wstring> Operations(const sim::SimulatedHost& host) {
  std::vector<std::wstring> out;
  for (const auto& call : host.CallLog()) {
    out.push_back(call.operation + (call.method.empty() ? L"" : L" " + call.method));
  }
  return out;
}

inline std::vector<sim::Call> CallsOf(const sim::SimulatedHost& host,
                                      const std::wstring& operation) {
  std::vector<sim::Call> out;
  for (const auto& call : host.CallLog()) {
    if (call.operation == operation) {
      out.push_back(call);
    }
  }
  return out;
}

// Whether the library reaches the simulated host through COM (the Windows DLL and its COM
// backend against the host served as WMI) or directly.
#ifdef QUORVANE_TEST_THROUGH_COM
inline constexpr bool kThroughCom = true;
#else
inline constexpr bool kThroughCom = false;
#endif

// A new host whose call log the test keeps for the comparison of the two bindings.
inline sim::SimulatedHost NewHost(const sim::HostOptions& options = {}) {
  auto host = sim::SimulatedHost::Create(options);
  TrackHost(host);
  return host;
}

inline sim::HostOptions Bare() {
  sim::HostOptions options;
  options.capabilities = false;
  return options;
}

}  // namespace quorvane::testing
