#pragma once

// BenchTable: the bench's one table. Each row is a measurement beside a baseline measured in the
// same run and the ratio of their costs (time, or memory for a memory row): 4.0x means the
// measurement cost four times what the baseline did. Columns are sized to their widest cell;
// notes printed under the table say what the rows measure.
//
//   BenchTable table;
//   table.add({"conversion: weight", "120,000 samples/s", "plain structs", "2,400,000 samples/s",
//              20.0});
//   table.addNote("Ratio: ...");
//   table.print(std::cout);

#include <ostream>
#include <string>
#include <vector>

namespace ostrand_tools {

struct BenchRow {
  std::string measurement;
  std::string measured;
  std::string baseline;
  std::string baselineMeasured;
  double costRatio = 0;  // measurement's cost over the baseline's
};

class BenchTable {
 public:
  void add(BenchRow row) { rows_.push_back(std::move(row)); }
  void addNote(std::string note) { notes_.push_back(std::move(note)); }
  void print(std::ostream& out) const;

 private:
  std::vector<BenchRow> rows_;
  std::vector<std::string> notes_;
};

}  // namespace ostrand_tools
