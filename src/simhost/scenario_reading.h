#pragma once

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <type_traits>

namespace quorvane::sim {

// A scenario problem: where it is (a JSON pointer) and what is wrong.
struct ScenarioError {
  std::string place;
  std::string problem;
};

[[noreturn]] inline void Reject(const std::string& place, const std::string& problem) {
  throw ScenarioError{place, problem};
}

// The value as a T. A number out of T's range, of the wrong sign or not whole is refused, not
// converted.
template <typename T>
T ValueAs(const nlohmann::json& value, const std::string& place) {
  if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
    // JSON converts a negative or fractional number to any integer type without a word.
    if (!value.is_number()) {
      Reject(place, "has the wrong type");
    }
    const bool whole = value.is_number_integer();
    const bool fits =
        whole && (value.is_number_unsigned()
                      ? value.get<std::uint64_t>() <=
                            static_cast<std::uint64_t>(std::numeric_limits<T>::max())
                      : value.get<std::int64_t>() >=
                                static_cast<std::int64_t>(std::numeric_limits<T>::min()) &&
                            value.get<std::int64_t>() <=
                                static_cast<std::int64_t>(std::numeric_limits<T>::max()));
    if (!fits) {
      Reject(place, whole ? "is out of range" : "has the wrong type (expected a whole number)");
    }
  }
  try {
    return value.get<T>();
  } catch (const nlohmann::json::exception&) {
    Reject(place, "has the wrong type");
  }
}

// Refuses a member of `object` that is not one of `known`: a mistyped name would otherwise be
// ignored, and the scenario would quietly describe another host than the one meant.
inline void RejectUnknownKeys(const nlohmann::json& object,
                              std::initializer_list<std::string_view> known,
                              const std::string& place) {
  if (!object.is_object()) {
    return;
  }
  for (const auto& item : object.items()) {
    if (std::find(known.begin(), known.end(), item.key()) == known.end()) {
      std::string expected;
      for (const std::string_view name : known) {
        expected += (expected.empty() ? "" : ", ") + std::string(name);
      }
      Reject(place + "/" + item.key(), "is not a known name here (expected " + expected + ")");
    }
  }
}

// The member `name` of `object` as a T, or `fallback` when it is not there.
template <typename T>
T Setting(const nlohmann::json& object, const char* name, T fallback, const std::string& place) {
  if (!object.is_object() || !object.contains(name)) {
    return fallback;
  }
  return ValueAs<T>(object.at(name), place + "/" + name);
}

// The member `name` of `object` as a T; refused when it is not there.
template <typename T>
T Required(const nlohmann::json& object, const char* name, const std::string& place) {
  if (!object.is_object() || !object.contains(name)) {
    Reject(place + "/" + name, "is missing");
  }
  return ValueAs<T>(object.at(name), place + "/" + name);
}

// The array `name` of `object`; an empty one when it is not there.
inline const nlohmann::json& ArrayAt(const nlohmann::json& object, const char* name,
                                     const std::string& place) {
  static const nlohmann::json kNone = nlohmann::json::array();
  if (!object.is_object() || !object.contains(name)) {
    return kNone;
  }
  if (!object.at(name).is_array()) {
    Reject(place + "/" + name, "expected an array");
  }
  return object.at(name);
}

}  // namespace quorvane::sim
