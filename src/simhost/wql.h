#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "wmi/wmi_value.h"

namespace quorvane::sim {

// A constant in a WHERE clause.
struct WqlLiteral {
  enum class Type : std::uint8_t { String, Number, Boolean, Null };
  Type type = Type::Null;
  std::wstring text;  // strings unescaped; numbers as written
  bool boolean = false;
};

struct WqlExpression {
  enum class Op : std::uint8_t {
    And,
    Or,
    Not,
    Equal,
    NotEqual,
    Less,
    Greater,
    LessEqual,
    GreaterEqual,
    Like,
    IsNull,
    IsNotNull,
    Isa,
  };
  Op op = Op::And;
  std::wstring property;
  WqlLiteral literal;
  std::unique_ptr<WqlExpression> left;
  std::unique_ptr<WqlExpression> right;
};

struct SelectQuery {
  std::vector<std::wstring> properties;  // empty for "*"
  std::wstring className;
  std::unique_ptr<WqlExpression> where;
};

// ASSOCIATORS OF or REFERENCES OF an object, with the filters given after WHERE.
struct RelationshipQuery {
  bool associators = true;  // false for REFERENCES OF
  std::wstring objectPath;
  std::wstring resultClass;
  std::wstring assocClass;  // ASSOCIATORS OF only
  std::wstring role;
  std::wstring resultRole;  // ASSOCIATORS OF only
  bool classDefsOnly = false;
  bool keysOnly = false;
};

using WqlQuery = std::variant<SelectQuery, RelationshipQuery>;

// Parses the WQL subset real clients send to Hyper-V. Nothing for text that is not a valid
// query (WMI answers that with 0x80041017); `tooComplex` tells a query refused for its size or
// nesting (WMI's quota violation, 0x80041045).
std::optional<WqlQuery> ParseWql(std::wstring_view text, bool* tooComplex = nullptr);

// Property names a WHERE clause reads, for checking them against the class.
void CollectProperties(const WqlExpression& expression, std::vector<std::wstring>& names);

// Evaluates a WHERE clause; `lookup` gives a property's value and its numeric-ness (whether the
// CIM type is a number, as 64-bit numbers arrive as text). ISA is not evaluated: it is false.
struct WqlProperty {
  WmiValue value;
  bool numeric = false;
};
bool Evaluate(const WqlExpression& expression,
              const std::function<WqlProperty(const std::wstring&)>& lookup);

// WQL's LIKE: % any run, _ one character, [abc], [a-f] and [^...] sets; case-insensitive.
bool WqlLike(std::wstring_view text, std::wstring_view pattern);

}  // namespace quorvane::sim
