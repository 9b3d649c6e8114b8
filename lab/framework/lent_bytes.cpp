// SPDX-License-Identifier: Apache-2.0
#include "framework/lent_bytes.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <utility>

namespace framework {
namespace {

constexpr std::size_t kFillerBytes = 64;
constexpr uint8_t kFiller = 0xa5;

// For crash reports; a full table omits some.
std::atomic<const LentBytes*> g_lent[512];

void ReplaceInTable(const LentBytes* from, const LentBytes* to) {
  for (auto& place : g_lent) {
    const LentBytes* expected = from;
    if (place.compare_exchange_strong(expected, to)) return;
  }
}

}  // namespace

LentBytes::LentBytes(std::string name, std::vector<uint8_t> content, Margin margin)
    : name_(std::move(name)),
      content_(std::move(content)),
      memory_(
          content_.size() + (margin == Margin::kFiller ? 2 * kFillerBytes : 0),
          margin == Margin::kGuardBefore ? GuardedBytes::Edge::kFront : GuardedBytes::Edge::kBack),
      data_(memory_.data() + (margin == Margin::kFiller ? kFillerBytes : 0)) {
  std::fill(memory_.begin(), memory_.end(), kFiller);
  std::copy(content_.begin(), content_.end(), data_);
  ReplaceInTable(nullptr, this);
}

LentBytes::~LentBytes() { ReplaceInTable(this, nullptr); }

std::optional<std::ptrdiff_t> LentBytes::FirstChange() {
  if (is_closed_) return std::nullopt;
  const uint8_t* const end = data_ + content_.size();
  const auto is_filler = [](uint8_t byte) { return byte == kFiller; };
  const uint8_t* changed = std::find_if_not<const uint8_t*>(memory_.begin(), data_, is_filler);
  if (changed == data_) changed = std::mismatch(content_.begin(), content_.end(), data_).second;
  if (changed == end) changed = std::find_if_not<const uint8_t*>(end, memory_.end(), is_filler);
  if (changed == memory_.end()) return std::nullopt;
  return changed - data_;
}

void LentBytes::Close() {
  is_closed_ = true;
  const auto bytes = static_cast<std::size_t>(memory_.end() - memory_.begin());
  if (bytes != 0 && mprotect(memory_.begin(), bytes, PROT_NONE) != 0) std::abort();
}

bool LentBytes::DescribeHere(const uint8_t* address, char* text, std::size_t size) const {
  const std::ptrdiff_t before = data_ - address;
  const std::ptrdiff_t behind = address + 1 - (data_ + content_.size());
  if (std::max(before, behind) > static_cast<std::ptrdiff_t>(sysconf(_SC_PAGESIZE))) return false;
  if (before > 0 || behind > 0) {
    std::snprintf(text, size, ", in the guard page %td bytes %s %s", std::max(before, behind),
                  before > 0 ? "before" : "behind", name_.c_str());
  } else {
    std::snprintf(text, size, ", in %s%s", name_.c_str(),
                  is_closed_ ? ", after the return of process-request" : "");
  }
  return true;
}

void LentBytes::Describe(const void* address, char* text, std::size_t size) {
  for (const auto& place : g_lent) {
    const LentBytes* const lent = place;
    if (lent != nullptr && lent->DescribeHere(static_cast<const uint8_t*>(address), text, size)) {
      return;
    }
  }
}

}  // namespace framework
