#include "OstrandCore/internal/OSTJSONWriter.h"

#include <charconv>
#include <nlohmann/json.hpp>

namespace {

// Printable ASCII other than the quote and the backslash: written as it is.
bool isPlain(std::string_view text) {
  for (const char c : text) {
    if (c < 0x20 || c > 0x7E || c == '"' || c == '\\') return false;
  }
  return true;
}

}  // namespace

void OSTJSONWriter::separate() {
  if (afterValue_) text_ += ',';
  afterValue_ = true;
}

void OSTJSONWriter::beginObject() {
  // A record's text is a few hundred bytes: room for it at once rather than growing by steps.
  if (text_.empty()) text_.reserve(512);
  separate();
  text_ += '{';
  afterValue_ = false;
}

void OSTJSONWriter::endObject() {
  text_ += '}';
  afterValue_ = true;
}

void OSTJSONWriter::beginArray() {
  separate();
  text_ += '[';
  afterValue_ = false;
}

void OSTJSONWriter::endArray() {
  text_ += ']';
  afterValue_ = true;
}

void OSTJSONWriter::key(std::string_view name) {
  separate();
  quoted(name);
  text_ += ':';
  afterValue_ = false;
}

void OSTJSONWriter::string(std::string_view text) {
  separate();
  quoted(text);
}

void OSTJSONWriter::quoted(std::string_view text) {
  if (isPlain(text)) {
    text_ += '"';
    text_ += text;
    text_ += '"';
    return;
  }
  // Escapes and UTF-8 (valid or not) are rare in records: the library's own rules write them.
  text_ += nlohmann::json(std::string(text))
               .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void OSTJSONWriter::boolean(bool value) {
  separate();
  text_ += value ? "true" : "false";
}

void OSTJSONWriter::integer(long long value) {
  separate();
  char buffer[24];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  text_.append(buffer, end);
}

void OSTJSONWriter::number(double value) {
  separate();
  // The very routine the library's dump formats doubles with, so that the text is the same.
  char buffer[64];
  text_.append(buffer, nlohmann::detail::to_chars(buffer, buffer + sizeof buffer, value));
}

std::string OSTJSONWriter::take() {
  std::string text = std::move(text_);
  text_.clear();
  afterValue_ = false;
  return text;
}
