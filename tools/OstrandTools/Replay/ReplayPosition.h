#pragma once

// ReplayPosition: how far a replay has lived, kept in a small text file beside its session
// database ("<database>.replay"), so a replay killed at any moment can be started again on the
// same database. It names the replay it belongs to (the export's date and object count, the
// span and the zone) and the hour last begun; it is written before that hour's work starts (by
// a rename, so a kill leaves the old or the new file whole), so a relaunch never sets the clock
// behind where the killed run had been.
//
// A plain value with file functions; any thread, one writer per file.

#include <optional>
#include <string>

#include "Foundation/NSDate.h"

namespace ostrand_tools {

struct ReplayPosition {
  // Which replay: a relaunch continues only the same one.
  double exportedAt = 0;  // seconds since 1970
  std::size_t objects = 0;
  double since = 0;
  double until = 0;
  std::string zone;
  // Where it is.
  double hour = 0;         // the moment last begun (seconds since 1970)
  bool installed = false;  // the app's first launch (subscribe, historical fetch) finished
  int relaunches = 0;      // how often the app was launched again within `hour`

  bool sameReplayAs(const ReplayPosition& other) const;

  static std::string pathFor(const std::string& databasePath) { return databasePath + ".replay"; }
  // The position in the file; nullopt when there is none, `error` set when it is unreadable.
  static std::optional<ReplayPosition> read(const std::string& path, std::string& error);
  // Replaces the file whole; false (and `error`) when it cannot be written.
  bool write(const std::string& path, std::string& error) const;
};

}  // namespace ostrand_tools
