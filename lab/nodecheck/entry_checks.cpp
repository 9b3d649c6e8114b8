// SPDX-License-Identifier: Apache-2.0
// The library's entry, and the callback table that it fills.
#include <algorithm>
#include <cstring>

#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

// Calls the entry with a table of so many bytes, all marks but for its header; those from `kept` on
// must be the same after that.
void CallEntry(const Subject& subject, uint32_t bytes, uint32_t major, std::size_t kept) {
  const uint32_t header[4] = {bytes, major, 0, 0};
  framework::GuardedBytes table(std::max<std::size_t>(bytes, sizeof(header)));
  std::fill_n(table.data(), table.size(), uint8_t{0x5a});
  std::memcpy(table.data(), header, sizeof(header));
  const std::vector<uint8_t> before(table.data(), table.data() + table.size());
  Doing("the entry");
  subject.entry(reinterpret_cast<ChiNodeCallbacks*>(table.data()));
  Require(std::equal(before.begin() + static_cast<std::ptrdiff_t>(kept), before.end(),
                     table.data() + kept),
          "table of " + std::to_string(bytes) + " bytes, version " + std::to_string(major),
          "byte " + std::to_string(kept) + " and later as they were", "them changed");
}

std::string NullTable(const Subject& subject) {
  Doing("the entry with a null table");
  subject.entry(nullptr);
  return "";
}

std::string RefusedTables(const Subject& subject) {
  constexpr uint32_t kSize = sizeof(ChiNodeCallbacks);
  for (const uint32_t size : {0u, 16u, 80u, kSize - 8}) CallEntry(subject, size, 0, 0);
  for (const uint32_t major : {1u, 0xffffffffu}) CallEntry(subject, kSize, major, 0);
  return "";
}

std::string Callbacks(const Subject& subject) {
  subject.Start();
  CallEntry(subject, sizeof(ChiNodeCallbacks) + 64, 0, offsetof(ChiNodeCallbacks, reserved2));
  return "";
}

}  // namespace

const Checks kEntryChecks = {
    {"entry.null", "The entry takes a null table without harm.", NullTable},
    {"entry.refused", "A smaller table, or another major version, is left alone.", RefusedTables},
    {"entry.callbacks", "Every callback is filled, and no member behind them.", Callbacks},
};

}  // namespace nodecheck
