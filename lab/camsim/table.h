// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_TABLE_H_
#define ZY_CAMSIM_TABLE_H_

#include <cstdio>
#include <string>
#include <vector>

#include "record/run_listener.h"

namespace camsim {

struct TableOptions {
  bool has_rows = true;      // else only the summary
  bool all = false;          // print every request, not only those handed over
  bool real_models = false;  // the figures are estimates
};

// Prints a run as text: a row for each request, which fits a terminal of 80 columns, and a summary.
class Table : public record::RunListener {
 public:
  Table(TableOptions options, std::FILE* to) : options_(options), to_(to) {}
  void Begin(const record::RunHeader& header) override;
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;
  common::Failure Finish(const record::Summary& summary) override;

 private:
  void PrintHead(int slots);
  void PrintRow(const record::RequestRecord& request);
  // Prints the reasons beside the cells, or in the next line if they do not fit.
  void PrintLine(const std::string& cells, const std::string& reasons);
  void NoteFaces(const record::RequestRecord& request, common::Size picture);
  std::string FacesLine() const;
  void PrintNotHandedOver(const record::Summary& summary) const;

  const TableOptions options_;
  std::FILE* const to_;
  bool is_upright_ = false, has_input_ = false;
  int slots_ = -1;             // that the head shows
  bool has_analysed_ = false;  // a face was large enough
  common::Rect largest_ = {};  // face, and the shorter side of its frame
  int shorter_side_ = 0;
  framework::SlotWhy last_why_;  // of slot 0
  std::vector<record::NamedValues> last_values_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_TABLE_H_
