#include "AppleHealthExport/internal/ExportByteFilter.h"

#include <array>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace apple_health_export {

namespace {

constexpr std::string_view kDoctype = "<!DOCTYPE";
constexpr std::string_view kComment = "<!--";
constexpr std::string_view kCData = "<![CDATA[";
constexpr std::string_view kEntity = "<!ENTITY";

bool isPrefixOf(std::string_view prefix, std::string_view word) {
  return prefix.size() <= word.size() && word.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The bytes that end a plain run: besides up to three special to the state, the dropped vertical
// tab and the line break, which step() counts. Unused places repeat the line break.
struct StopBytes {
  std::array<char, 5> bytes;
  std::array<bool, 256> isStop;
};

constexpr StopBytes stopBytes(std::string_view special) {
  StopBytes stops{{'\v', '\n', '\n', '\n', '\n'}, {}};
  for (std::size_t i = 0; i < special.size(); ++i) stops.bytes[2 + i] = special[i];
  for (char c : stops.bytes) stops.isStop[static_cast<std::uint8_t>(c)] = true;
  return stops;
}

constexpr StopBytes kTextStops = stopBytes("<");
constexpr StopBytes kTagStops = stopBytes("\"'>");
constexpr StopBytes kDoubleQuotedStops = stopBytes("\"");
constexpr StopBytes kSingleQuotedStops = stopBytes("'");

// Where the first stop byte in [at, last) is, or `last`: sixteen bytes at a time where the
// processor has SSE2, byte by byte for the rest.
std::size_t findStop(const char* data, std::size_t at, std::size_t last, const StopBytes& stops) {
#if defined(__SSE2__)
  if (last - at >= 16) {
    __m128i wanted[5];
    for (int i = 0; i < 5; ++i) wanted[i] = _mm_set1_epi8(stops.bytes[i]);
    for (; last - at >= 16; at += 16) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at));
      __m128i found = _mm_cmpeq_epi8(bytes, wanted[0]);
      for (int i = 1; i < 5; ++i) found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, wanted[i]));
      if (const int mask = _mm_movemask_epi8(found); mask != 0) {
        return at + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
      }
    }
  }
#endif
  while (at < last && !stops.isStop[static_cast<std::uint8_t>(data[at])]) ++at;
  return at;
}

}  // namespace

bool ExportByteFilter::fail(std::string message) {
  error_ = std::move(message);
  errorLine_ = tokenLine_;
  return false;
}

bool ExportByteFilter::tokenByte() {
  if (++tokenBytes_ <= maxTokenBytes_) return true;
  std::string what = state_ == State::kText ? "text" : "markup";
  return fail(what + " starting on line " + std::to_string(tokenLine_) + " is longer than " +
              std::to_string(maxTokenBytes_) + " bytes (an export's elements are small)");
}

bool ExportByteFilter::feed(std::string_view chunk, std::string& out) {
  if (!error_.empty()) return false;
  out.reserve(out.size() + chunk.size());
  std::size_t at = 0;
  while (at < chunk.size()) {
    at = copyPlainRun(chunk, at, out);
    if (at == chunk.size()) break;
    const char c = chunk[at++];
    if (c == '\v') continue;
    if (!step(c, out)) return false;
    if (c == '\n') ++line_;
  }
  return true;
}

std::size_t ExportByteFilter::copyPlainRun(std::string_view chunk, std::size_t at,
                                           std::string& out) {
  const StopBytes* stops = nullptr;
  if (state_ == State::kText) {
    stops = &kTextStops;
  } else if (state_ == State::kTag) {
    stops = quote_ == 0 ? &kTagStops : quote_ == '"' ? &kDoubleQuotedStops : &kSingleQuotedStops;
  } else {
    return at;
  }
  // Within the token's limit; the byte past it goes to step(), which refuses it.
  const std::size_t room = tokenBytes_ < maxTokenBytes_ ? maxTokenBytes_ - tokenBytes_ : 0;
  const std::size_t last = chunk.size() - at < room ? chunk.size() : at + room;
  const std::size_t end = findStop(chunk.data(), at, last, *stops);
  out.append(chunk.data() + at, end - at);
  tokenBytes_ += end - at;
  return end;
}

bool ExportByteFilter::decideOpening(std::string& out) {
  if (!rootSeen_ && opening_ == kDoctype) {
    state_ = State::kDoctype;
    quote_ = 0;
    return true;
  }
  if ((!rootSeen_ && isPrefixOf(opening_, kDoctype)) || isPrefixOf(opening_, kComment) ||
      isPrefixOf(opening_, kCData)) {
    if (opening_ != kComment && opening_ != kCData) return true;  // not known yet
  }
  tail_.clear();
  if (opening_ == kComment || opening_ == kCData) {
    out += opening_;
    state_ = opening_ == kComment ? State::kComment : State::kCData;
  } else if (opening_[1] == '?') {
    out += opening_;
    state_ = State::kInstruction;
    tail_ = opening_.substr(opening_.size() - 1);
  } else {
    // A start or end tag: what followed '<' may already hold a quote or the closing '>'.
    const char first = opening_[1];
    if (first != '/' && first != '!') rootSeen_ = true;
    const std::string held = opening_.substr(1);
    out.push_back('<');
    state_ = State::kTag;
    quote_ = 0;
    tokenBytes_ = 1;
    for (char c : held) {
      if (!step(c, out)) return false;
    }
  }
  return true;
}

bool ExportByteFilter::step(char c, std::string& out) {
  switch (state_) {
    case State::kText:
      if (c == '<') {
        state_ = State::kOpening;
        opening_ = "<";
        tokenBytes_ = 1;
        tokenLine_ = line_;
        return true;
      }
      if (!tokenByte()) return false;
      out.push_back(c);
      return true;
    case State::kOpening:
      opening_.push_back(c);
      if (!tokenByte()) return false;
      return decideOpening(out);
    case State::kTag:
      if (!tokenByte()) return false;
      out.push_back(c);
      if (quote_ != 0) {
        if (c == quote_) quote_ = 0;
      } else if (c == '"' || c == '\'') {
        quote_ = c;
      } else if (c == '>') {
        state_ = State::kText;
        tokenBytes_ = 0;
        tokenLine_ = line_;
      }
      return true;
    case State::kComment:
    case State::kCData:
    case State::kInstruction: {
      if (!tokenByte()) return false;
      out.push_back(c);
      tail_.push_back(c);
      if (tail_.size() > 3) tail_.erase(0, tail_.size() - 3);
      const std::string_view end = state_ == State::kComment ? "-->"
                                   : state_ == State::kCData ? "]]>"
                                                             : "?>";
      if (endsWith(tail_, end)) {
        state_ = State::kText;
        tokenBytes_ = 0;
        tokenLine_ = line_;
      }
      return true;
    }
    case State::kDoctype:
    case State::kSubset:
      if (!tokenByte()) return false;
      if (c == '\n') out.push_back('\n');
      tail_.push_back(c);
      if (tail_.size() > kEntity.size()) tail_.erase(0, tail_.size() - kEntity.size());
      if (subsetComment_) {
        if (endsWith(tail_, "-->")) subsetComment_ = false;
        return true;
      }
      if (quote_ != 0) {
        if (c == quote_) quote_ = 0;
        return true;
      }
      if (c == '"' || c == '\'') {
        quote_ = c;
      } else if (state_ == State::kSubset && endsWith(tail_, kComment)) {
        subsetComment_ = true;
      } else if (state_ == State::kSubset && endsWith(tail_, kEntity)) {
        tokenLine_ = line_;
        return fail("the document type declares an entity (<!ENTITY on line " +
                    std::to_string(line_) + "); exports never do, and entities are not expanded");
      } else if (state_ == State::kDoctype && c == '[') {
        state_ = State::kSubset;
      } else if (state_ == State::kSubset && c == ']') {
        state_ = State::kDoctype;
      } else if (state_ == State::kDoctype && c == '>') {
        state_ = State::kText;
        tokenBytes_ = 0;
        tokenLine_ = line_;
      }
      return true;
  }
  return true;
}

}  // namespace apple_health_export
