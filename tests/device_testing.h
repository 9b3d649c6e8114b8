// SPDX-License-Identifier: Apache-2.0
// Shared by the tests of the node and its worker: a reset fake device for each test, and its log.
#ifndef ZY_TESTS_DEVICE_TESTING_H_
#define ZY_TESTS_DEVICE_TESTING_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device/control.h"
#include "framework/log_watch.h"
#include "framework/worker_watch.h"
#include "media/nv12.h"

namespace testing_support {

// Collects the log, one list per thread: only lines of one thread have an order. Each line reads
// "priority/tag/text".
class LogCapture {
 public:
  LogCapture() {
    framework::SetLogListener([this](const framework::LogLine& line) {
      std::lock_guard<std::mutex> lock(mutex_);
      lines_[std::this_thread::get_id()].push_back(std::to_string(line.priority) + "/" +
                                                   (line.tag != nullptr ? line.tag : "") + "/" +
                                                   line.text);
      return false;
    });
  }
  ~LogCapture() { framework::SetLogListener(nullptr); }

  // Returns the lines of this thread, or of all others, since the last such call.
  std::vector<std::string> TakeOwn() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(lines_[std::this_thread::get_id()], {});
  }
  std::vector<std::string> TakeOthers() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> taken;
    for (auto& [thread, lines] : lines_) {
      if (thread == std::this_thread::get_id()) continue;
      taken.insert(taken.end(), lines.begin(), lines.end());
      lines.clear();
    }
    return taken;
  }

 private:
  std::mutex mutex_;
  std::map<std::thread::id, std::vector<std::string>> lines_;
};

inline size_t CountContaining(const std::vector<std::string>& lines, const std::string& part) {
  return static_cast<size_t>(
      std::count_if(lines.begin(), lines.end(),
                    [&](const std::string& line) { return line.find(part) != std::string::npos; }));
}

// Joins the lines as one text, one row each. A line break inside a line becomes \n.
inline std::string TextOf(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    const bool ends = !line.empty() && line.back() == '\n';
    text += ends ? line.substr(0, line.size() - 1) + "\\n\n" : line + "\n";
  }
  return text;
}

class DeviceTest : public testing::Test {
 protected:
  DeviceTest() {
    device::AgeGender().Reset();
    device::FaceGrade().Reset();
    device::ClearProperties();
    device::UseRealClock();
  }

  static void AwaitWorkers() {
    ASSERT_TRUE(framework::WaitForIdleWorkers(std::chrono::seconds(60)));
  }

  LogCapture log_;
};

// Returns a frame with a pattern that is different everywhere.
inline media::Nv12Frame PatternFrame(int width, int height, int stride = 0) {
  media::Nv12Frame frame;
  EXPECT_FALSE(media::ShapeFrame(width, height, stride, &frame));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      frame.Luma()[y * frame.stride + x] = static_cast<uint8_t>(x * 3 + y * 7);
      if (y < common::HalfUp(height)) {
        frame.Chroma()[y * frame.stride + x] = static_cast<uint8_t>(60 + x * 5 + y * 11);
      }
    }
  }
  return frame;
}

}  // namespace testing_support

#endif  // ZY_TESTS_DEVICE_TESTING_H_
