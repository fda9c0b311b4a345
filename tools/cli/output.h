#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "session.h"
#include "table.h"

namespace quorvane::cli {

using Json = nlohmann::ordered_json;

// Prints the command's result: the JSON for scripts (--json), else the text for people.
void Emit(Session& session, const Json& json, const std::string& text);
void Emit(Session& session, const Json& json, const Table& table);

// Names and formats shared by the commands.
std::string StateName(std::uint32_t enabledState);
// A FILETIME count as "2026-05-30T11:16:25Z"; "" for 0.
std::string IsoTime(std::int64_t filetime);
std::string Gigabytes(std::int64_t bytes);

}  // namespace quorvane::cli
