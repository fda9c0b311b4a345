#include "output.h"

#include <cstdio>
#include <ctime>

namespace quorvane::cli {

void Emit(Session& session, const Json& json, const std::string& text) {
  // Text that is not UTF-8 (an argument, say) comes out with U+FFFD in place of each bad byte,
  // as it went to the library.
  session.Print(session.Json() ? json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"
                               : text);
}

void Emit(Session& session, const Json& json, const Table& table) {
  Emit(session, json, table.Render());
}

std::string StateName(std::uint32_t enabledState) {
  switch (enabledState) {
    case 2:
      return "running";
    case 3:
      return "off";
    case 4:
      return "stopping";
    case 6:
      return "saved";
    case 9:
      return "paused";
    case 10:
      return "starting";
    default:
      return "state " + std::to_string(enabledState);
  }
}

std::string IsoTime(std::int64_t filetime) {
  constexpr std::int64_t kUnixEpoch = 116444736000000000;  // 1970-01-01 as a FILETIME count
  if (filetime <= kUnixEpoch) {
    return "";
  }
  const std::time_t seconds = static_cast<std::time_t>((filetime - kUnixEpoch) / 10000000);
  std::tm utc{};
#if defined(_WIN32)
  gmtime_s(&utc, &seconds);
#else
  gmtime_r(&seconds, &utc);
#endif
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

std::string Gigabytes(std::int64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", static_cast<double>(bytes) / (1ull << 30));
  return text;
}

}  // namespace quorvane::cli
