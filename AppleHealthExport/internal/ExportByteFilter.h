#pragma once

// ExportByteFilter: what stands between an export's bytes and the XML parser. It
//  - drops the document type declaration (<!DOCTYPE HealthData [ ... ]>) before the root
//    element, keeping its line breaks so the parser's line numbers stay the file's. Real exports
//    carry an internal subset of ELEMENT/ATTLIST declarations that is broken in some versions and
//    never needed; an external DTD it names is never loaded;
//  - refuses an ENTITY declaration in that subset: an export never declares entities, and
//    expanding them is how a hostile file makes a small input huge;
//  - drops U+000B (vertical tab), which some exports hold in values although XML forbids it;
//  - bounds every tag, comment, processing instruction and run of text to maxTokenBytes, so the
//    parser's buffer never grows beyond it whatever the input holds.
//
// Fed chunk by chunk in file order; not thread-safe (one per read).
//
//   ExportByteFilter filter(1 << 20);
//   std::string out;
//   if (!filter.feed(chunk, out)) report(filter.error(), filter.errorLine());

#include <cstddef>
#include <string>
#include <string_view>

namespace apple_health_export {

class ExportByteFilter {
 public:
  explicit ExportByteFilter(std::size_t maxTokenBytes) : maxTokenBytes_(maxTokenBytes) {}

  // Appends the filtered bytes of `chunk` to `out`; false once the input is refused.
  bool feed(std::string_view chunk, std::string& out);

  // Why the input was refused, and on which line (1-based) of the file.
  const std::string& error() const { return error_; }
  std::size_t errorLine() const { return errorLine_; }

 private:
  enum class State { kText, kOpening, kTag, kComment, kCData, kInstruction, kDoctype, kSubset };

  bool step(char c, std::string& out);
  // Copies the bytes from `at` that the current state passes through unchanged (inside text or
  // a tag, no quote, '<', '>', line break or vertical tab); where the run ends.
  std::size_t copyPlainRun(std::string_view chunk, std::size_t at, std::string& out);
  bool fail(std::string message);
  // Decides what markup the held "<..." starts, once it can.
  bool decideOpening(std::string& out);
  bool tokenByte();

  std::size_t maxTokenBytes_;
  State state_ = State::kText;
  std::string opening_;  // "<!DOC..." held back until known
  char quote_ = 0;       // the open quote inside a tag or declaration
  std::string tail_;     // the last bytes seen, to find terminators like "-->"
  std::size_t tokenBytes_ = 0;
  std::size_t tokenLine_ = 1;
  std::size_t line_ = 1;
  bool rootSeen_ = false;
  bool subsetComment_ = false;
  std::string error_;
  std::size_t errorLine_ = 0;
};

}  // namespace apple_health_export
