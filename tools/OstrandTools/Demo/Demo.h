#pragma once

// Demo: the `demo` command. A simulated person lives `days` days with the app installed on the
// last one: the history is written first, then the app starts its session, subscribes to every
// set and goes to the background while the last day's data arrives hour by hour (HealthKit wakes
// it hourly), comes to the foreground, fetches the latest data and runs the historical fetch.
// Prints what was synced and where the database is. The simulated phone stays until the Demo
// goes, so a caller can compare the outbox with what the simulator holds.
//
//   Demo demo({.seed = 7, .days = 30, .databasePath = "demo.sqlite"});
//   int status = demo.run(std::cout, std::cerr);  // 0, or 1 when the work failed

#include <memory>
#include <ostream>
#include <string>

#include "tools/OstrandTools/Common/SimulatedPhone.h"
#include "tools/OstrandTools/Demo/DemoPerson.h"

namespace ostrand_tools {

struct DemoOptions {
  unsigned seed = 1;
  int days = 90;
  std::string databasePath;
  bool terminal = false;  // draw progress bars
};

class Demo {
 public:
  // The day the app is installed on: the last simulated day.
  static NSDate lastDay();

  explicit Demo(DemoOptions options);
  int run(std::ostream& out, std::ostream& err);
  SimulatedPhone& phone() { return *phone_; }

 private:
  bool liveHistory(std::ostream& out);
  bool installApp(std::ostream& err);
  bool liveLastDay(std::ostream& out);
  bool fetch(std::ostream& out, std::ostream& err);
  NSDate dayStart(int dayIndex) const;

  DemoOptions options_;
  std::unique_ptr<SimulatedPhone> phone_;
  std::unique_ptr<DemoPerson> person_;
};

}  // namespace ostrand_tools
