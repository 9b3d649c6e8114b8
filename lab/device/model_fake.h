// SPDX-License-Identifier: Apache-2.0
// The library's side of a fake model.
#ifndef ZY_DEVICE_MODEL_FAKE_H_
#define ZY_DEVICE_MODEL_FAKE_H_

#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

#include "common/digest.h"
#include "device/control.h"

namespace device {

// Counts, delays, fails, records and answers a library's calls, as its control sets. Any thread.
template <typename Call, typename Answer>
class ModelFake : public ModelControl<Call, Answer> {
 public:
  // Returns the built-in answer. `gray` is null for a model that does not receive it.
  using Measure = Answer (*)(const uint8_t* gray, const uint8_t* rgb, const Call& call);

  explicit ModelFake(Measure measure) : measure_(measure) {}

  // Sets the model up; returns false on failure, or throws if the settings ask for that.
  bool Init() {
    const Entry entry(this);
    std::lock_guard<std::mutex> lock(this->mutex_);
    ModelSettings& settings = this->state_.settings;
    ++this->state_.counts.attempts;
    this->state_.has_failed = settings.failing_inits != 0;
    if (settings.failing_inits == 0) {
      ++this->state_.counts.inits;
      return true;
    }
    if (settings.failing_inits > 0) --settings.failing_inits;
    if (settings.failing_inits_throw) throw std::runtime_error("no model");
    return false;
  }

  void Clear() {
    const Entry entry(this);
    std::lock_guard<std::mutex> lock(this->mutex_);
    ++this->state_.counts.clears;
  }

  std::string Version() {
    const Entry entry(this);
    std::lock_guard<std::mutex> lock(this->mutex_);
    return this->state_.settings.version;
  }

  // Returns the answer to a call and fills in its digests; nullopt if the settings ask for that, or
  // after a failed set-up. A script answers in any case.
  std::optional<Answer> Analyse(const uint8_t* gray, const uint8_t* rgb, Call call) {
    const Entry entry(this);
    const auto state = Note(gray, rgb, &call);
    if (state.settings.is_mute || (state.has_failed && !state.script)) return std::nullopt;
    if (state.settings.delay.count() > 0) std::this_thread::sleep_for(state.settings.delay);
    const Answer answer = state.script ? state.script(call) : measure_(gray, rgb, call);
    ZyModelCall heard = {gray,     rgb,        call.width,  call.height, call.left,
                         call.top, call.right, call.bottom, {}};
    static_assert(sizeof(answer) <= sizeof(heard.answer));
    std::memcpy(heard.answer, &answer, sizeof(answer));
    state.settings.listener.Show(heard);
    return answer;
  }

  uint64_t OverlappingCalls() const { return overlaps_; }

 private:
  // Constructed first in each function of the library.
  class Entry {
   public:
    explicit Entry(ModelFake* fake) : fake_(fake) {
      if (fake_->running_.fetch_add(1) != 0) ++fake_->overlaps_;
    }
    ~Entry() { --fake_->running_; }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

   private:
    ModelFake* const fake_;
  };

  // Counts and stores a call; returns the state that answers it.
  typename ModelControl<Call, Answer>::State Note(const uint8_t* gray, const uint8_t* rgb,
                                                  Call* call) {
    std::lock_guard<std::mutex> lock(this->mutex_);
    auto& state = this->state_;
    ++state.counts.analyses;
    if (state.settings.records || state.script) {
      const auto pixels = static_cast<size_t>(call->width) * static_cast<size_t>(call->height);
      if (gray != nullptr) call->gray_digest = common::Digest(gray, pixels);
      call->rgb_digest = common::Digest(rgb, 3 * pixels);
    }
    if (state.settings.records) state.calls.push_back(*call);
    return {state.settings, state.script, {}, {}, state.has_failed};
  }

  const Measure measure_;
  std::atomic<int> running_{0};
  std::atomic<uint64_t> overlaps_{0};
};

}  // namespace device

#endif  // ZY_DEVICE_MODEL_FAKE_H_
