#pragma once

#include <functional>
#include <set>
#include <string>

#include "simhost/repository.h"

namespace quorvane::sim {

// What the text form of one instance is made from.
struct TextSource {
  const ClassDef& cls;
  const PropertyMap& properties;
  // Empty for an instance that is not stored (spawned, or a method's parameters): its path
  // properties then carry no value.
  std::wstring server;
  std::wstring nameSpace;
  std::wstring relativePath;
  // For a spawned instance, the properties the client set; the others are marked PROPAGATED.
  const std::set<std::wstring, LessNoCase>* locallySet = nullptr;
};

// The text that IWbemObjectTextSrc gives for an instance (WMI DTD 2.0): system properties
// first, then the class's properties in alphabetical order with CLASSORIGIN and TYPE.
std::wstring InstanceToText(const TextSource& source);

// The lean form Hyper-V uses for embedded instances it emits itself: no system properties, no
// CLASSORIGIN; properties without a value are marked PROPAGATED.
std::wstring InstanceToLeanText(const ClassDef& cls, const PropertyMap& properties);

// The text of a method's parameters object (class "__PARAMETERS").
std::wstring ParametersToText(const std::vector<const MemberDef*>& members,
                              const PropertyMap& values);

struct ParsedInstance {
  const ClassDef* cls = nullptr;
  // Properties the text specifies (system properties and PROPAGATED ones left out), with
  // values already converted to the schema's kinds.
  PropertyList properties;
};

// Reads an embedded instance in any of the forms clients send (full or lean, either DTD,
// inside CDATA or not). Embedded objects inside are handed to `makeObject`. Raises the WMI
// status for text that is not an instance (0x80041008), an unknown class (0x80041010), an
// unknown property (0x80041002) or a value that does not fit its type (0x80041005).
ParsedInstance ParseInstanceText(std::wstring_view text,
                                 const std::function<WmiObjectPtr(ParsedInstance)>& makeObject);

}  // namespace quorvane::sim
