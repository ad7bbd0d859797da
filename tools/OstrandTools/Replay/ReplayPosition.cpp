#include "tools/OstrandTools/Replay/ReplayPosition.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>

namespace ostrand_tools {

bool ReplayPosition::sameReplayAs(const ReplayPosition& other) const {
  return exportedAt == other.exportedAt && objects == other.objects && since == other.since &&
         until == other.until && zone == other.zone;
}

std::optional<ReplayPosition> ReplayPosition::read(const std::string& path, std::string& error) {
  std::ifstream in(path);
  if (!in) return std::nullopt;
  ReplayPosition position;
  std::string tag[8];
  in >> tag[0] >> position.exportedAt >> tag[1] >> position.objects >> tag[2] >> position.since >>
      tag[3] >> position.until >> tag[4] >> std::quoted(position.zone) >> tag[5] >> position.hour >>
      tag[6] >> position.installed >> tag[7] >> position.relaunches;
  if (!in || tag[0] != "exported" || tag[5] != "hour" || tag[7] != "relaunches") {
    error = path + ": not a replay position file (remove it, or use another --database)";
    return std::nullopt;
  }
  return position;
}

bool ReplayPosition::write(const std::string& path, std::string& error) const {
  const std::string temporary = path + ".new";
  {
    std::ofstream out(temporary, std::ios::trunc);
    out << std::setprecision(17) << "exported " << exportedAt << "\nobjects " << objects
        << "\nsince " << since << "\nuntil " << until << "\nzone " << std::quoted(zone) << "\nhour "
        << hour << "\ninstalled " << installed << "\nrelaunches " << relaunches << "\n";
    out.flush();
    if (!out) {
      error = "cannot write " + temporary;
      return false;
    }
  }
  std::error_code failure;
  std::filesystem::rename(temporary, path, failure);
  if (failure) {
    error = "cannot replace " + path + ": " + failure.message();
    return false;
  }
  return true;
}

}  // namespace ostrand_tools
