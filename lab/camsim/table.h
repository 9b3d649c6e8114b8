// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_TABLE_H_
#define ZY_CAMSIM_TABLE_H_

#include <cstdio>
#include <string>

#include "camsim/options.h"
#include "record/run_listener.h"

namespace camsim {

// Prints a run as text: a row for each request, which fits a terminal of 80 columns, and a summary.
class Table : public record::RunListener {
 public:
  // Prints only the summary unless `has_rows`.
  Table(const Options& options, bool has_rows, std::FILE* to)
      : options_(options), has_rows_(has_rows), to_(to) {}
  void Begin(const record::RunHeader&) override;
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

  const Options& options_;
  const bool has_rows_;
  std::FILE* const to_;
  int slots_ = -1;             // that the head shows
  bool has_analysed_ = false;  // a face was large enough
  common::Rect largest_ = {};  // face, and the shorter side of its frame
  int shorter_side_ = 0;
  record::RequestRecord last_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_TABLE_H_
