#include "simhost/wql.h"

#include <algorithm>
#include <cwchar>

#include "simhost/cim_value.h"
#include "util/case_insensitive.h"

namespace quorvane::sim {
namespace {

struct Token {
  enum class Type : std::uint8_t {
    Identifier,
    String,
    Number,
    Operator,
    LeftParen,
    RightParen,
    Comma,
    Star,
    Path,
    End,
  };
  Type type = Type::End;
  std::wstring text;
};

bool IsIdentifierStart(wchar_t c) {
  return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || c == L'_';
}

bool IsIdentifierChar(wchar_t c) {
  return IsIdentifierStart(c) || (c >= L'0' && c <= L'9');
}

bool IsDigit(wchar_t c) {
  return c >= L'0' && c <= L'9';
}

bool IsSpace(wchar_t c) {
  return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n';
}

// Splits WQL text into tokens; nothing when a string or an object path does not close.
std::optional<std::vector<Token>> Tokenize(std::wstring_view text) {
  std::vector<Token> tokens;
  std::size_t i = 0;
  while (true) {
    while (i < text.size() && IsSpace(text[i])) {
      ++i;
    }
    if (i == text.size()) {
      tokens.push_back({Token::Type::End, L""});
      return tokens;
    }
    const wchar_t c = text[i];
    if (IsIdentifierStart(c)) {
      const std::size_t start = i;
      while (i < text.size() && IsIdentifierChar(text[i])) {
        ++i;
      }
      tokens.push_back({Token::Type::Identifier, std::wstring(text.substr(start, i - start))});
    } else if (c == L'"' || c == L'\'') {
      // Backslash escapes as documented; a doubled quote also stands for one quote.
      std::wstring value;
      ++i;
      bool closed = false;
      while (i < text.size()) {
        if (text[i] == L'\\' && i + 1 < text.size() &&
            (text[i + 1] == L'\\' || text[i + 1] == L'"' || text[i + 1] == L'\'')) {
          value.push_back(text[i + 1]);
          i += 2;
        } else if (text[i] == c && i + 1 < text.size() && text[i + 1] == c) {
          value.push_back(c);
          i += 2;
        } else if (text[i] == c) {
          ++i;
          closed = true;
          break;
        } else {
          value.push_back(text[i++]);
        }
      }
      if (!closed) {
        return std::nullopt;
      }
      tokens.push_back({Token::Type::String, std::move(value)});
    } else if (IsDigit(c) ||
               ((c == L'-' || c == L'+') && i + 1 < text.size() && IsDigit(text[i + 1]))) {
      const std::size_t start = i++;
      while (i < text.size() && (IsDigit(text[i]) || text[i] == L'.')) {
        ++i;
      }
      tokens.push_back({Token::Type::Number, std::wstring(text.substr(start, i - start))});
    } else if (c == L'{') {
      const std::size_t start = ++i;
      wchar_t quote = 0;
      while (i < text.size() && (quote != 0 || text[i] != L'}')) {
        if (quote != 0 && text[i] == L'\\') {
          ++i;
        } else if (quote == 0 && (text[i] == L'"' || text[i] == L'\'')) {
          quote = text[i];
        } else if (text[i] == quote) {
          quote = 0;
        }
        ++i;
      }
      if (i >= text.size()) {
        return std::nullopt;
      }
      tokens.push_back({Token::Type::Path, std::wstring(text.substr(start, i - start))});
      ++i;
    } else if (c == L'=' || c == L'<' || c == L'>' || c == L'!') {
      std::wstring op(1, c);
      ++i;
      if (i < text.size() && (text[i] == L'=' || (c == L'<' && text[i] == L'>'))) {
        op.push_back(text[i++]);
      }
      if (op == L"!") {
        return std::nullopt;
      }
      tokens.push_back({Token::Type::Operator, std::move(op)});
    } else if (c == L'(') {
      tokens.push_back({Token::Type::LeftParen, L"("}), ++i;
    } else if (c == L')') {
      tokens.push_back({Token::Type::RightParen, L")"}), ++i;
    } else if (c == L',') {
      tokens.push_back({Token::Type::Comma, L","}), ++i;
    } else if (c == L'*') {
      tokens.push_back({Token::Type::Star, L"*"}), ++i;
    } else {
      return std::nullopt;
    }
  }
}

// WMI refuses queries past a certain size; these bounds also keep the parser's recursion and the
// tree it builds small whatever text it is given.
constexpr int kMaxNesting = 64;
constexpr int kMaxConditions = 256;

class Parser {
 public:
  explicit Parser(std::vector<Token> tokens) : tokens_(std::move(tokens)) {}

  bool TooComplex() const { return tooComplex_; }

  std::optional<WqlQuery> Parse() {
    if (IsKeyword(L"SELECT")) {
      return Wrap(ParseSelect());
    }
    if (IsKeyword(L"ASSOCIATORS") || IsKeyword(L"REFERENCES")) {
      return Wrap(ParseRelationship(IsKeyword(L"ASSOCIATORS")));
    }
    return std::nullopt;
  }

 private:
  template <typename T>
  static std::optional<WqlQuery> Wrap(std::optional<T> query) {
    return query ? std::optional<WqlQuery>(std::move(*query)) : std::nullopt;
  }

  std::optional<SelectQuery> ParseSelect() {
    Next();
    SelectQuery query;
    if (Peek().type == Token::Type::Star) {
      Next();
    } else {
      do {
        if (Peek().type != Token::Type::Identifier || IsKeyword(L"FROM")) {
          return std::nullopt;
        }
        query.properties.push_back(Next().text);
      } while (Accept(Token::Type::Comma));
    }
    if (!AcceptKeyword(L"FROM") || Peek().type != Token::Type::Identifier) {
      return std::nullopt;
    }
    query.className = Next().text;
    if (AcceptKeyword(L"WHERE")) {
      query.where = ParseOr();
      if (!query.where) {
        return std::nullopt;
      }
    }
    return AtEnd() ? std::optional(std::move(query)) : std::nullopt;
  }

  // "OF {path} [WHERE keyword ...]": keywords separated by blanks only, each at most once, at
  // least one after WHERE, and ClassDefsOnly never together with ResultClass.
  std::optional<RelationshipQuery> ParseRelationship(bool associators) {
    Next();
    RelationshipQuery query;
    query.associators = associators;
    if (!ParseObjectOf(query.objectPath)) {
      return std::nullopt;
    }
    if (AcceptKeyword(L"WHERE")) {
      if (AtEnd()) {
        return std::nullopt;
      }
      std::wstring qualifier;
      std::wstring assocQualifier;
      while (!AtEnd()) {
        const bool known =
            ParseSetting(L"ResultClass", query.resultClass) || ParseSetting(L"Role", query.role) ||
            ParseSetting(L"RequiredQualifier", qualifier) ||
            ParseFlag(L"ClassDefsOnly", query.classDefsOnly) ||
            ParseFlag(L"KeysOnly", query.keysOnly) ||
            (associators && (ParseSetting(L"AssocClass", query.assocClass) ||
                             ParseSetting(L"ResultRole", query.resultRole) ||
                             ParseSetting(L"RequiredAssocQualifier", assocQualifier)));
        if (!known) {
          return std::nullopt;
        }
      }
      if (query.classDefsOnly && !query.resultClass.empty()) {
        return std::nullopt;
      }
    }
    return AtEnd() ? std::optional(std::move(query)) : std::nullopt;
  }

  bool ParseObjectOf(std::wstring& path) {
    if (!AcceptKeyword(L"OF") || Peek().type != Token::Type::Path) {
      return false;
    }
    path = Next().text;
    return !path.empty();
  }

  // "Keyword = Name"; each keyword at most once.
  bool ParseSetting(const wchar_t* keyword, std::wstring& value) {
    if (!IsKeyword(keyword) || !value.empty() || At(pos_ + 1).type != Token::Type::Operator ||
        At(pos_ + 1).text != L"=" || At(pos_ + 2).type != Token::Type::Identifier) {
      return false;
    }
    value = At(pos_ + 2).text;
    pos_ += 3;
    return true;
  }

  bool ParseFlag(const wchar_t* keyword, bool& flag) {
    if (!IsKeyword(keyword) || flag) {
      return false;
    }
    Next();
    flag = true;
    return true;
  }

  std::unique_ptr<WqlExpression> ParseOr() {
    auto left = ParseAnd();
    while (left && AcceptKeyword(L"OR")) {
      left = Combine(WqlExpression::Op::Or, std::move(left), ParseAnd());
    }
    return left;
  }

  std::unique_ptr<WqlExpression> ParseAnd() {
    auto left = ParseNot();
    while (left && AcceptKeyword(L"AND")) {
      left = Combine(WqlExpression::Op::And, std::move(left), ParseNot());
    }
    return left;
  }

  std::unique_ptr<WqlExpression> ParseNot() {
    if (++nesting_ > kMaxNesting) {
      tooComplex_ = true;
      return nullptr;
    }
    auto node = ParseNotNested();
    --nesting_;
    return node;
  }

  std::unique_ptr<WqlExpression> ParseNotNested() {
    if (AcceptKeyword(L"NOT")) {
      auto operand = ParseNot();
      return operand ? Combine(WqlExpression::Op::Not, std::move(operand), nullptr, true) : nullptr;
    }
    if (Accept(Token::Type::LeftParen)) {
      auto inner = ParseOr();
      return inner && Accept(Token::Type::RightParen) ? std::move(inner) : nullptr;
    }
    return ParseComparison();
  }

  static std::unique_ptr<WqlExpression> Combine(WqlExpression::Op op,
                                                std::unique_ptr<WqlExpression> left,
                                                std::unique_ptr<WqlExpression> right,
                                                bool unary = false) {
    if (!left || (!unary && !right)) {
      return nullptr;
    }
    auto node = std::make_unique<WqlExpression>();
    node->op = op;
    node->left = std::move(left);
    node->right = std::move(right);
    return node;
  }

  std::unique_ptr<WqlExpression> ParseComparison() {
    if (++conditions_ > kMaxConditions) {
      tooComplex_ = true;
      return nullptr;
    }
    auto node = std::make_unique<WqlExpression>();
    if (Peek().type == Token::Type::Identifier && !IsLiteralKeyword()) {
      node->property = Next().text;
      if (AcceptKeyword(L"IS")) {
        const bool negated = AcceptKeyword(L"NOT");
        if (!AcceptKeyword(L"NULL")) {
          return nullptr;
        }
        node->op = negated ? WqlExpression::Op::IsNotNull : WqlExpression::Op::IsNull;
        return node;
      }
      if (AcceptKeyword(L"LIKE") || AcceptKeyword(L"ISA")) {
        node->op = EqualsNoCase(tokens_[pos_ - 1].text, L"LIKE") ? WqlExpression::Op::Like
                                                                 : WqlExpression::Op::Isa;
        if (Peek().type != Token::Type::String) {
          return nullptr;
        }
        node->literal = {WqlLiteral::Type::String, Next().text, false};
        return node;
      }
      const auto op = ParseOperator(false);
      if (!op || !ParseLiteral(node->literal)) {
        return nullptr;
      }
      node->op = *op;
      return node;
    }
    // A constant on the left: "5 < Prop".
    if (!ParseLiteral(node->literal)) {
      return nullptr;
    }
    const auto op = ParseOperator(true);
    if (!op || Peek().type != Token::Type::Identifier || IsLiteralKeyword()) {
      return nullptr;
    }
    node->op = *op;
    node->property = Next().text;
    return node;
  }

  std::optional<WqlExpression::Op> ParseOperator(bool flipped) {
    if (Peek().type != Token::Type::Operator) {
      return std::nullopt;
    }
    const std::wstring op = Next().text;
    using Op = WqlExpression::Op;
    if (op == L"=")
      return Op::Equal;
    if (op == L"!=" || op == L"<>")
      return Op::NotEqual;
    if (op == L"<")
      return flipped ? Op::Greater : Op::Less;
    if (op == L">")
      return flipped ? Op::Less : Op::Greater;
    if (op == L"<=")
      return flipped ? Op::GreaterEqual : Op::LessEqual;
    if (op == L">=")
      return flipped ? Op::LessEqual : Op::GreaterEqual;
    return std::nullopt;
  }

  bool IsLiteralKeyword() const {
    return IsKeyword(L"TRUE") || IsKeyword(L"FALSE") || IsKeyword(L"NULL");
  }

  bool ParseLiteral(WqlLiteral& literal) {
    const Token& token = Peek();
    if (token.type == Token::Type::String) {
      literal = {WqlLiteral::Type::String, Next().text, false};
    } else if (token.type == Token::Type::Number) {
      literal = {WqlLiteral::Type::Number, Next().text, false};
    } else if (IsKeyword(L"TRUE") || IsKeyword(L"FALSE")) {
      literal = {WqlLiteral::Type::Boolean, L"", IsKeyword(L"TRUE")};
      Next();
    } else if (IsKeyword(L"NULL")) {
      literal = {WqlLiteral::Type::Null, L"", false};
      Next();
    } else {
      return false;
    }
    return true;
  }

  const Token& At(std::size_t index) const { return tokens_[std::min(index, tokens_.size() - 1)]; }
  const Token& Peek() const { return tokens_[pos_]; }
  const Token& Next() { return tokens_[pos_ < tokens_.size() - 1 ? pos_++ : pos_]; }
  bool AtEnd() const { return Peek().type == Token::Type::End; }
  bool Accept(Token::Type type) {
    if (Peek().type != type) {
      return false;
    }
    Next();
    return true;
  }
  bool IsKeyword(const wchar_t* keyword) const {
    return Peek().type == Token::Type::Identifier && EqualsNoCase(Peek().text, keyword);
  }
  bool AcceptKeyword(const wchar_t* keyword) {
    if (!IsKeyword(keyword)) {
      return false;
    }
    Next();
    return true;
  }

  std::vector<Token> tokens_;
  std::size_t pos_ = 0;
  int nesting_ = 0;
  int conditions_ = 0;
  bool tooComplex_ = false;
};

std::optional<long double> NumberOf(const WmiValue& value) {
  switch (value.Kind()) {
    case WmiKind::UInt8:
    case WmiKind::Int16:
    case WmiKind::Int32:
      return static_cast<long double>(value.AsInteger());
    case WmiKind::Real32:
      return std::get<float>(value.Get());
    case WmiKind::Real64:
      return std::get<double>(value.Get());
    case WmiKind::String: {
      const std::wstring text = value.AsWideString();
      wchar_t* end = nullptr;
      const long double number = std::wcstold(text.c_str(), &end);
      if (text.empty() || end != text.c_str() + text.size()) {
        return std::nullopt;
      }
      return number;
    }
    default:
      return std::nullopt;
  }
}

bool Ordered(WqlExpression::Op op, int comparison) {
  switch (op) {
    case WqlExpression::Op::Equal:
      return comparison == 0;
    case WqlExpression::Op::NotEqual:
      return comparison != 0;
    case WqlExpression::Op::Less:
      return comparison < 0;
    case WqlExpression::Op::Greater:
      return comparison > 0;
    case WqlExpression::Op::LessEqual:
      return comparison <= 0;
    case WqlExpression::Op::GreaterEqual:
      return comparison >= 0;
    default:
      return false;
  }
}

bool Compare(WqlExpression::Op op, const WqlProperty& property, const WqlLiteral& literal) {
  const WmiValue& value = property.value;
  if (literal.type == WqlLiteral::Type::Null) {
    return op == WqlExpression::Op::Equal ? value.IsNull()
                                          : op == WqlExpression::Op::NotEqual && !value.IsNull();
  }
  if (value.IsNull() || value.IsArray()) {
    return false;
  }
  if (value.Kind() == WmiKind::Boolean) {
    const auto wanted = literal.type == WqlLiteral::Type::Boolean
                            ? std::optional(WmiValue::Boolean(literal.boolean))
                            : ScalarFromCimText(CimType::Boolean, literal.text);
    if (!wanted || (op != WqlExpression::Op::Equal && op != WqlExpression::Op::NotEqual)) {
      return false;
    }
    return Ordered(op, value.AsBoolean() == wanted->AsBoolean() ? 0 : 1);
  }
  const bool numeric = property.numeric || value.Kind() != WmiKind::String;
  if (numeric) {
    const auto left = NumberOf(value);
    const auto right = NumberOf(WmiValue::String(literal.text));
    if (!left || !right) {
      return false;
    }
    return Ordered(op, *left < *right ? -1 : (*left > *right ? 1 : 0));
  }
  if (literal.type == WqlLiteral::Type::Boolean) {
    return false;
  }
  return Ordered(op, CompareNoCase(value.AsWideString(), literal.text));
}

// One element of a LIKE pattern: any run (%), any one character (_), a set, or a character.
struct LikeToken {
  enum class Kind : std::uint8_t { AnyRun, AnyOne, Set, Character };
  Kind kind;
  wchar_t character = 0;
  std::wstring_view set;
  bool negated = false;

  bool Matches(wchar_t c) const {
    const wchar_t folded = FoldCase(c);
    if (kind == Kind::AnyOne) {
      return true;
    }
    if (kind == Kind::Character) {
      return FoldCase(character) == folded;
    }
    bool member = false;
    for (std::size_t k = 0; k < set.size(); ++k) {
      if (k + 2 < set.size() && set[k + 1] == L'-') {
        member |= folded >= FoldCase(set[k]) && folded <= FoldCase(set[k + 2]);
        k += 2;
      } else {
        member |= folded == FoldCase(set[k]);
      }
    }
    return member != negated;
  }
};

// Nothing for a pattern with a set that does not close.
std::optional<std::vector<LikeToken>> TokenizeLike(std::wstring_view pattern) {
  std::vector<LikeToken> tokens;
  for (std::size_t p = 0; p < pattern.size(); ++p) {
    const wchar_t c = pattern[p];
    if (c == L'%') {
      if (tokens.empty() || tokens.back().kind != LikeToken::Kind::AnyRun) {
        tokens.push_back({LikeToken::Kind::AnyRun});
      }
    } else if (c == L'_') {
      tokens.push_back({LikeToken::Kind::AnyOne});
    } else if (c == L'[') {
      const std::size_t close = pattern.find(L']', p + 1);
      if (close == std::wstring_view::npos) {
        return std::nullopt;
      }
      LikeToken token{LikeToken::Kind::Set};
      token.set = pattern.substr(p + 1, close - p - 1);
      token.negated = !token.set.empty() && token.set[0] == L'^';
      if (token.negated) {
        token.set.remove_prefix(1);
      }
      tokens.push_back(token);
      p = close;
    } else {
      tokens.push_back({LikeToken::Kind::Character, c});
    }
  }
  return tokens;
}

}  // namespace

// Matches in time proportional to text length times pattern length, whatever the pattern.
bool WqlLike(std::wstring_view text, std::wstring_view pattern) {
  const auto tokens = TokenizeLike(pattern);
  if (!tokens) {
    return false;
  }
  // matched[i]: the tokens so far can match exactly the first i characters.
  std::vector<char> matched(text.size() + 1, 0);
  matched[0] = 1;
  for (const auto& token : *tokens) {
    std::vector<char> next(text.size() + 1, 0);
    if (token.kind == LikeToken::Kind::AnyRun) {
      char reachable = 0;
      for (std::size_t i = 0; i <= text.size(); ++i) {
        reachable |= matched[i];
        next[i] = reachable;
      }
    } else {
      for (std::size_t i = 0; i < text.size(); ++i) {
        next[i + 1] = matched[i] && token.Matches(text[i]);
      }
    }
    matched.swap(next);
  }
  return matched[text.size()] != 0;
}

std::optional<WqlQuery> ParseWql(std::wstring_view text, bool* tooComplex) {
  auto tokens = Tokenize(text);
  if (!tokens) {
    return std::nullopt;
  }
  Parser parser(std::move(*tokens));
  auto query = parser.Parse();
  if (tooComplex != nullptr) {
    *tooComplex = parser.TooComplex();
  }
  return query;
}

void CollectProperties(const WqlExpression& expression, std::vector<std::wstring>& names) {
  if (!expression.property.empty()) {
    names.push_back(expression.property);
  }
  if (expression.left) {
    CollectProperties(*expression.left, names);
  }
  if (expression.right) {
    CollectProperties(*expression.right, names);
  }
}

bool Evaluate(const WqlExpression& expression,
              const std::function<WqlProperty(const std::wstring&)>& lookup) {
  using Op = WqlExpression::Op;
  switch (expression.op) {
    case Op::And:
      return Evaluate(*expression.left, lookup) && Evaluate(*expression.right, lookup);
    case Op::Or:
      return Evaluate(*expression.left, lookup) || Evaluate(*expression.right, lookup);
    case Op::Not:
      return !Evaluate(*expression.left, lookup);
    case Op::IsNull:
      return lookup(expression.property).value.IsNull();
    case Op::IsNotNull:
      return !lookup(expression.property).value.IsNull();
    case Op::Like: {
      const WmiValue value = lookup(expression.property).value;
      return value.Kind() == WmiKind::String && !value.IsArray() &&
             WqlLike(value.AsWideString(), expression.literal.text);
    }
    case Op::Isa:
      return false;  // only meaningful for embedded objects, which are not queried
    default:
      return Compare(expression.op, lookup(expression.property), expression.literal);
  }
}

}  // namespace quorvane::sim
