#pragma once

// OSTJSONWriter: compact JSON text written straight into one string, for the record coder's
// encoding of every submitted record. It writes exactly what nlohmann::json's compact dump writes
// for the same values (no spaces, non-ASCII left as UTF-8, invalid UTF-8 replaced by U+FFFD,
// doubles in their shortest form that reads back exactly and always with a '.' or an exponent,
// so that a double never reads back as an integer), without building a document first.
//
// The caller keeps the structure well-formed: a key before every value inside an object, every
// object and array closed. Not thread-safe; one writer per text.
//
//   OSTJSONWriter json;
//   json.beginObject();
//   json.key("kind");
//   json.string("weight");
//   json.key("weight");
//   json.number(72.4);
//   json.endObject();
//   json.take();  // {"kind":"weight","weight":72.4}

#include <string>
#include <string_view>

class OSTJSONWriter {
 public:
  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  void key(std::string_view name);

  void string(std::string_view text);
  void boolean(bool value);
  void integer(long long value);
  // A finite double (records refuse others).
  void number(double value);

  // The text written so far; the writer is empty afterwards.
  std::string take();

 private:
  // A comma when a value or member came before in the same object or array.
  void separate();
  void quoted(std::string_view text);

  std::string text_;
  bool afterValue_ = false;
};
