#pragma once

#include <istream>
#include <memory>
#include <string>

#include "simhost/host_core.h"

namespace quorvane::sim {

// The image management methods that answer at once on real hosts.
void SetDefaultSynchronousMethods(HostCore& host);
// The host's computer system and management services, and with the host's capabilities
// setting, its resource pools and capabilities.
void AddHostObjects(HostCore& host);

// A host with its computer system and management services, and the provider behaviours.
std::shared_ptr<HostCore> BuildHost(const HostSettings& settings);

// The shipped default scenario.
std::shared_ptr<HostCore> BuildDefaultHost();

// Registers every provider behaviour the simulated host knows.
void InstallProviderBehaviours(HostCore& host);

inline constexpr const char* kScenarioFormat = "quorvane-simulated-host";
inline constexpr int kScenarioVersion = 1;

// Scenario JSON: the host's settings and every instance of every namespace. Loading builds a
// whole new host or raises DefaultException naming `sourceName` and the place in the text.
std::shared_ptr<HostCore> HostFromJson(const std::string& json, const std::string& sourceName);
// The same, read from a stream as the parser goes.
std::shared_ptr<HostCore> HostFromStream(std::istream& in, const std::string& sourceName);
std::string HostToJson(HostCore& host);

}  // namespace quorvane::sim
