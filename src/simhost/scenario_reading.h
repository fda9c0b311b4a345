#pragma once

#include <limits>
#include <nlohmann/json.hpp>
#include <string>
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

// The member `name` of `object` as a T, or `fallback` when it is not there. A number out of T's
// range, of the wrong sign or not whole is refused, not converted.
template <typename T>
T Setting(const nlohmann::json& object, const char* name, T fallback, const std::string& place) {
  if (!object.is_object() || !object.contains(name)) {
    return fallback;
  }
  const nlohmann::json& value = object.at(name);
  if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
    // JSON converts a negative or fractional number to any integer type without a word.
    if (!value.is_number()) {
      Reject(place + "/" + name, "has the wrong type");
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
      Reject(place + "/" + name,
             whole ? "is out of range" : "has the wrong type (expected a whole number)");
    }
  }
  try {
    return value.get<T>();
  } catch (const nlohmann::json::exception&) {
    Reject(place + "/" + name, "has the wrong type");
  }
}

}  // namespace quorvane::sim
