#include "tools/OstrandTools/Common/Progress.h"

#include <unistd.h>

#include <algorithm>

namespace ostrand_tools {

namespace {
constexpr int kBarWidth = 30;
}

bool Progress::isTerminal(std::FILE* file) { return ::isatty(::fileno(file)) == 1; }

void Progress::start(std::string label, std::uint64_t total) {
  label_ = std::move(label);
  total_ = total;
  lastPercent_ = -1;
  detail_.clear();
  started_ = std::chrono::steady_clock::now();
  if (terminal_) {
    draw(0);
  } else {
    out_ << label_ << "...\n";
  }
}

void Progress::update(std::uint64_t done) {
  if (terminal_) draw(done);
}

void Progress::update(std::uint64_t done, const std::string& detail) {
  if (!terminal_ || detail == detail_) return;
  detail_ = detail;
  lastPercent_ = -1;  // the detail changed: redraw
  draw(done);
}

std::string Progress::timeLeft(double fraction) const {
  if (fraction <= 0 || fraction >= 1) return "";
  const double elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
  const auto left = static_cast<long>(elapsed * (1 - fraction) / fraction);
  return "  about " +
         (left < 60 ? std::to_string(left) + " s"
                    : std::to_string(left / 60) + " min " + std::to_string(left % 60) + " s") +
         " left";
}

void Progress::finish() {
  if (terminal_) {
    draw(total_);
    out_ << "\n";
  } else {
    out_ << label_ << ": done\n";
  }
  out_.flush();
}

void Progress::draw(std::uint64_t done) {
  const double fraction = total_ == 0 ? 1.0 : std::min(1.0, double(done) / double(total_));
  const int percent = static_cast<int>(fraction * 100);
  if (percent == lastPercent_) return;
  lastPercent_ = percent;
  const int filled = static_cast<int>(fraction * kBarWidth);
  out_ << "\r" << label_ << " [" << std::string(filled, '#') << std::string(kBarWidth - filled, ' ')
       << "] " << percent << "%";
  if (!detail_.empty()) out_ << "  " << detail_ << timeLeft(fraction) << "\x1b[K";
  out_.flush();
}

}  // namespace ostrand_tools
