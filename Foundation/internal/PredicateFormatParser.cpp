#include "Foundation/internal/PredicateFormatParser.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <stdexcept>

#include "Foundation/NSArray.h"
#include "Foundation/NSComparisonPredicate.h"
#include "Foundation/NSCompoundPredicate.h"

namespace platform::internal {
namespace {

enum class TokenType {
  End,
  KeyPathArgument,
  ValueArgument,
  Name,
  Literal,
  And,
  Or,
  Not,
  Operator,
  LeftParen,
  RightParen,
  TruePredicate,
  FalsePredicate,
};

struct Token {
  TokenType type = TokenType::End;
  std::size_t offset = 0;
  std::size_t length = 0;
  NSAny literal;                                                // Literal
  NSPredicateOperatorType op = NSEqualToPredicateOperatorType;  // Operator
};

bool isNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool isNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)); }

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

class Parser {
 public:
  Parser(const std::string& format, const std::vector<NSAny>& arguments)
      : format_(format), arguments_(arguments) {
    tokenize();
  }

  // Whether the whole format, blanks included, is a single key path name.
  bool isOneName() const {
    return tokens_.size() == 2 && tokens_[0].type == TokenType::Name &&
           tokens_[0].length == format_.size();
  }

  std::shared_ptr<const NSPredicate> parse() {
    auto predicate = parseOr();
    if (peek().type != TokenType::End) {
      fail(peek().offset, "unexpected " + describe(peek()) + " after a complete predicate");
    }
    if (nextArgument_ != arguments_.size()) {
      fail(format_.size(), std::to_string(arguments_.size()) +
                               " arguments given but the format uses " +
                               std::to_string(nextArgument_));
    }
    return predicate;
  }

 private:
  [[noreturn]] void fail(std::size_t offset, const std::string& problem) const {
    throw std::invalid_argument("predicateWithFormat: " + problem + " at offset " +
                                std::to_string(offset) + " in \"" + format_ + "\"");
  }

  std::string describe(const Token& token) const {
    if (token.type == TokenType::End) return "the end of the format";
    return "'" + format_.substr(token.offset, token.length) + "'";
  }

  // ---- Tokens ----

  void tokenize() {
    std::size_t i = 0;
    while (true) {
      while (i < format_.size() && std::isspace(static_cast<unsigned char>(format_[i]))) ++i;
      Token token;
      token.offset = i;
      if (i == format_.size()) {
        tokens_.push_back(token);
        return;
      }
      i = lexOne(i, token);
      token.length = i - token.offset;
      tokens_.push_back(std::move(token));
    }
  }

  // Reads the token that starts at `i` into `token`; returns the offset after it.
  std::size_t lexOne(std::size_t i, Token& token) {
    auto next = [&](std::size_t k) { return i + k < format_.size() ? format_[i + k] : '\0'; };
    auto op = [&](NSPredicateOperatorType type, std::size_t length) {
      token.type = TokenType::Operator;
      token.op = type;
      return i + length;
    };
    char c = format_[i];
    switch (c) {
      case '%':
        if (next(1) == 'K') {
          token.type = TokenType::KeyPathArgument;
          return i + 2;
        }
        if (next(1) == '@') {
          token.type = TokenType::ValueArgument;
          return i + 2;
        }
        fail(i, "unsupported placeholder '" + format_.substr(i, 2) +
                    "' (only %K and %@ are supported)");
      case '(':
        token.type = TokenType::LeftParen;
        return i + 1;
      case ')':
        token.type = TokenType::RightParen;
        return i + 1;
      case '=':
        if (next(1) == '=') return op(NSEqualToPredicateOperatorType, 2);
        if (next(1) == '<') return op(NSLessThanOrEqualToPredicateOperatorType, 2);
        if (next(1) == '>') return op(NSGreaterThanOrEqualToPredicateOperatorType, 2);
        return op(NSEqualToPredicateOperatorType, 1);
      case '!':
        if (next(1) == '=') return op(NSNotEqualToPredicateOperatorType, 2);
        token.type = TokenType::Not;
        return i + 1;
      case '<':
        if (next(1) == '=') return op(NSLessThanOrEqualToPredicateOperatorType, 2);
        if (next(1) == '>') return op(NSNotEqualToPredicateOperatorType, 2);
        return op(NSLessThanPredicateOperatorType, 1);
      case '>':
        if (next(1) == '=') return op(NSGreaterThanOrEqualToPredicateOperatorType, 2);
        return op(NSGreaterThanPredicateOperatorType, 1);
      case '&':
        if (next(1) == '&') {
          token.type = TokenType::And;
          return i + 2;
        }
        break;
      case '|':
        if (next(1) == '|') {
          token.type = TokenType::Or;
          return i + 2;
        }
        break;
      case '"':
      case '\'':
        return lexString(i, token);
      default:
        break;
    }
    if (isDigit(c) || (c == '-' && isDigit(next(1)))) return lexNumber(i, token);
    if (isNameStart(c)) return lexName(i, token);
    fail(i, "unexpected character '" + std::string(1, c) + "'");
  }

  std::size_t lexString(std::size_t start, Token& token) {
    char quote = format_[start];
    std::string text;
    for (std::size_t i = start + 1; i < format_.size(); ++i) {
      char c = format_[i];
      if (c == quote) {
        token.type = TokenType::Literal;
        token.literal = std::move(text);
        return i + 1;
      }
      if (c == '\\' && i + 1 < format_.size()) {
        char escaped = format_[++i];
        text += escaped == 'n' ? '\n' : escaped == 't' ? '\t' : escaped;
      } else {
        text += c;
      }
    }
    fail(start, "unterminated string");
  }

  std::size_t lexNumber(std::size_t start, Token& token) {
    std::size_t i = start + (format_[start] == '-' ? 1 : 0);
    bool floating = false;
    while (i < format_.size() && isDigit(format_[i])) ++i;
    if (i + 1 < format_.size() && format_[i] == '.' && isDigit(format_[i + 1])) {
      floating = true;
      for (++i; i < format_.size() && isDigit(format_[i]);) ++i;
    }
    if (i < format_.size() && (format_[i] == 'e' || format_[i] == 'E')) {
      std::size_t exponent = i + 1;
      if (exponent < format_.size() && (format_[exponent] == '+' || format_[exponent] == '-')) {
        ++exponent;
      }
      if (exponent < format_.size() && isDigit(format_[exponent])) {
        floating = true;
        for (i = exponent; i < format_.size() && isDigit(format_[i]);) ++i;
      }
    }
    if (i < format_.size() && isNameChar(format_[i])) {
      fail(start, "malformed number '" + format_.substr(start, i + 1 - start) + "'");
    }
    const char* first = format_.data() + start;
    const char* last = format_.data() + i;
    token.type = TokenType::Literal;
    if (floating) {
      double value = 0;
      auto result = std::from_chars(first, last, value);
      if (result.ec != std::errc())
        fail(start, "number out of range '" + std::string(first, last) + "'");
      token.literal = value;
    } else {
      long long value = 0;
      auto result = std::from_chars(first, last, value);
      if (result.ec != std::errc())
        fail(start, "number out of range '" + std::string(first, last) + "'");
      token.literal = value;
    }
    return i;
  }

  // A name, a dotted key path, or a keyword.
  std::size_t lexName(std::size_t start, Token& token) {
    std::size_t i = start;
    while (true) {
      while (i < format_.size() && isNameChar(format_[i])) ++i;
      if (i < format_.size() && format_[i] == '.') {
        if (i + 1 >= format_.size() || !isNameStart(format_[i + 1])) {
          fail(i + 1, "expected a name after '.'");
        }
        ++i;
        continue;
      }
      break;
    }
    std::string word = format_.substr(start, i - start);
    std::string keyword = upper(word);
    token.type = TokenType::Name;
    if (keyword == "AND")
      token.type = TokenType::And;
    else if (keyword == "OR")
      token.type = TokenType::Or;
    else if (keyword == "NOT")
      token.type = TokenType::Not;
    else if (keyword == "IN") {
      token.type = TokenType::Operator;
      token.op = NSInPredicateOperatorType;
    } else if (keyword == "TRUEPREDICATE")
      token.type = TokenType::TruePredicate;
    else if (keyword == "FALSEPREDICATE")
      token.type = TokenType::FalsePredicate;
    else if (keyword == "NIL" || keyword == "NULL")
      token.type = TokenType::Literal;
    else if (keyword == "YES" || keyword == "TRUE") {
      token.type = TokenType::Literal;
      token.literal = true;
    } else if (keyword == "NO" || keyword == "FALSE") {
      token.type = TokenType::Literal;
      token.literal = false;
    }
    return i;
  }

  // ---- Grammar ----

  const Token& peek() const { return tokens_[position_]; }
  const Token& take() { return tokens_[position_++]; }

  std::shared_ptr<const NSPredicate> parseOr() {
    NSCompoundPredicate::Subpredicates terms{parseAnd()};
    while (peek().type == TokenType::Or) {
      take();
      terms.push_back(parseAnd());
    }
    if (terms.size() == 1) return terms.front();
    return NSCompoundPredicate::orPredicateWithSubpredicates(std::move(terms));
  }

  std::shared_ptr<const NSPredicate> parseAnd() {
    NSCompoundPredicate::Subpredicates terms{parseNot()};
    while (peek().type == TokenType::And) {
      take();
      terms.push_back(parseNot());
    }
    if (terms.size() == 1) return terms.front();
    return NSCompoundPredicate::andPredicateWithSubpredicates(std::move(terms));
  }

  std::shared_ptr<const NSPredicate> parseNot() {
    switch (peek().type) {
      case TokenType::Not:
        take();
        return NSCompoundPredicate::notPredicateWithSubpredicate(parseNot());
      case TokenType::LeftParen: {
        take();
        auto inner = parseOr();
        if (peek().type != TokenType::RightParen) {
          fail(peek().offset, "expected ')', found " + describe(peek()));
        }
        take();
        return inner;
      }
      case TokenType::TruePredicate:
        take();
        return NSPredicate::predicateWithValue(true);
      case TokenType::FalsePredicate:
        take();
        return NSPredicate::predicateWithValue(false);
      default:
        return parseComparison();
    }
  }

  const NSAny& argumentFor(const Token& token) {
    if (nextArgument_ >= arguments_.size()) {
      fail(token.offset, describe(token) + " has no argument: only " +
                             std::to_string(arguments_.size()) + " given");
    }
    return arguments_[nextArgument_++];
  }

  std::shared_ptr<const NSPredicate> parseComparison() {
    const Token& left = take();
    std::string keyPath;
    if (left.type == TokenType::KeyPathArgument) {
      const NSAny& argument = argumentFor(left);
      if (!argument.isString()) {
        fail(left.offset, "%K needs a string argument (a key path), got " + argument.kindName());
      }
      keyPath = argument.stringValue();
      if (keyPath.empty()) fail(left.offset, "%K argument is an empty key path");
    } else if (left.type == TokenType::Name) {
      keyPath = format_.substr(left.offset, left.length);
    } else {
      fail(left.offset, "expected a key path (%K or a name), found " + describe(left));
    }

    const Token& op = take();
    if (op.type != TokenType::Operator) {
      fail(op.offset, "expected a comparison operator, found " + describe(op));
    }

    const Token& right = take();
    NSAny value;
    if (right.type == TokenType::ValueArgument) {
      value = argumentFor(right);
    } else if (right.type == TokenType::Literal) {
      value = right.literal;
    } else {
      fail(right.offset,
           "expected a value (%@, nil, YES, NO, a number or a quoted string), found " +
               describe(right));
    }
    if (op.op == NSInPredicateOperatorType && !value.objectAs<NSArray>()) {
      fail(right.offset, "IN needs an array argument, got " + value.kindName());
    }
    return NSComparisonPredicate::predicateWithKeyPath(std::move(keyPath), op.op, std::move(value));
  }

  const std::string& format_;
  const std::vector<NSAny>& arguments_;
  std::vector<Token> tokens_;
  std::size_t position_ = 0;
  std::size_t nextArgument_ = 0;
};

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

std::string literal(const NSAny& value) {
  if (value.isNil()) return "nil";
  if (value.isString()) return quoted(value.stringValue());
  if (value.isDate()) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "CAST(%.6f, \"NSDate\")",
                  value.dateValue().timeIntervalSinceReferenceDate());
    return buffer;
  }
  if (auto array = value.objectAs<NSArray>()) {
    std::string text = "{";
    for (const NSAny& element : *array) text += (text.size() > 1 ? ", " : "") + literal(element);
    return text + "}";
  }
  return value.description();
}

}  // namespace

std::shared_ptr<const NSPredicate> parsePredicateFormat(const std::string& format,
                                                        const std::vector<NSAny>& arguments) {
  return Parser(format, arguments).parse();
}

bool isLiteralKeyPath(const std::string& keyPath) {
  const std::vector<NSAny> noArguments;
  try {
    return Parser(keyPath, noArguments).isOneName();
  } catch (const std::invalid_argument&) {
    return false;  // characters no name may hold
  }
}

std::string renderPredicateFormat(const std::string& format, const std::vector<NSAny>& arguments) {
  std::string out;
  std::size_t argument = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    char c = format[i];
    if (c == '"' || c == '\'') {  // copy quoted strings untouched
      std::size_t end = i + 1;
      while (end < format.size() && format[end] != c) end += format[end] == '\\' ? 2 : 1;
      out += format.substr(i, end + 1 - i);
      i = end;
    } else if (c == '%' && i + 1 < format.size() &&
               (format[i + 1] == 'K' || format[i + 1] == '@') && argument < arguments.size()) {
      const NSAny& value = arguments[argument++];
      out += format[i + 1] == 'K' && value.isString() ? value.stringValue() : literal(value);
      ++i;
    } else {
      out += c;
    }
  }
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

}  // namespace platform::internal
