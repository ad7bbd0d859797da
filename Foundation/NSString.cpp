#include "Foundation/NSString.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string describe(const NSString::FormatArgument& argument) {
  struct Visitor {
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(long long value) const { return std::to_string(value); }
    std::string operator()(unsigned long long value) const { return std::to_string(value); }
    std::string operator()(double value) const { return NSAny(value).description(); }
    std::string operator()(const NSAny& value) const { return value.description(); }
  };
  return std::visit(Visitor{}, argument);
}

// Formats one numeric placeholder with the C library: `placeholder` is all of it from "%" to
// the conversion letter, with its length modifiers removed.
std::string formatNumber(std::string placeholder, const NSString::FormatArgument& argument) {
  const char conversion = placeholder.back();
  char buffer[512];
  int length = -1;
  const bool floating = conversion == 'f' || conversion == 'g' || conversion == 'e' ||
                        conversion == 'F' || conversion == 'G' || conversion == 'E';
  if (floating) {
    double value;
    if (const auto* d = std::get_if<double>(&argument)) {
      value = *d;
    } else if (const auto* i = std::get_if<long long>(&argument)) {
      value = static_cast<double>(*i);
    } else if (const auto* u = std::get_if<unsigned long long>(&argument)) {
      value = static_cast<double>(*u);
    } else if (const auto* any = std::get_if<NSAny>(&argument); any && any->isNumber()) {
      value = any->doubleValue();
    } else {
      return describe(argument);
    }
    length = std::snprintf(buffer, sizeof buffer, placeholder.c_str(), value);
  } else {
    placeholder.insert(placeholder.size() - 1, "ll");
    const bool isSigned = conversion == 'd' || conversion == 'i';
    long long value;
    if (const auto* i = std::get_if<long long>(&argument)) {
      value = *i;
    } else if (const auto* u = std::get_if<unsigned long long>(&argument)) {
      value = static_cast<long long>(*u);
    } else if (const auto* any = std::get_if<NSAny>(&argument); any && any->isNumber()) {
      value = any->integerValue();
    } else {
      return describe(argument);
    }
    length = isSigned ? std::snprintf(buffer, sizeof buffer, placeholder.c_str(), value)
                      : std::snprintf(buffer, sizeof buffer, placeholder.c_str(),
                                      static_cast<unsigned long long>(value));
  }
  if (length < 0) return describe(argument);
  return std::string(buffer, static_cast<std::size_t>(std::min<int>(length, sizeof buffer - 1)));
}

}  // namespace

std::string NSString::stringWithFormatArguments(std::string_view format,
                                                std::initializer_list<FormatArgument> arguments) {
  std::string out;
  auto next = arguments.begin();
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') {
      out += format[i];
      continue;
    }
    if (i + 1 < format.size() && format[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    // Flags, width and precision, then length modifiers, then the conversion letter.
    std::size_t j = i + 1;
    std::string placeholder = "%";
    while (j < format.size() &&
           std::string_view("-+ #0123456789.").find(format[j]) != std::string_view::npos) {
      placeholder += format[j++];
    }
    while (j < format.size() &&
           std::string_view("hlqjzt").find(format[j]) != std::string_view::npos) {
      ++j;
    }
    if (j >= format.size()) {
      out.append(format.substr(i));
      break;
    }
    const char conversion = format[j];
    if (std::string_view("s@diuxXofFgGeEc").find(conversion) == std::string_view::npos) {
      out.append(format.substr(i, j - i + 1));  // not a placeholder we know: kept as written
      i = j;
      continue;
    }
    i = j;
    if (next == arguments.end()) {
      out += "(missing)";
      continue;
    }
    const FormatArgument& argument = *next++;
    if (conversion == 's' || conversion == '@' || conversion == 'c') {
      out += describe(argument);
    } else {
      out += formatNumber(placeholder + conversion, argument);
    }
  }
  return out;
}
