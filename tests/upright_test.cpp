// SPDX-License-Identifier: Apache-2.0
// A photograph's way through a sensor's frame and the node's crop, and the way of figures back.
#include "camsim/upright.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "analysis/upright_images.h"
#include "camsim/annotated.h"
#include "camsim/device_input.h"
#include "camsim/frames.h"
#include "camsim/pass_watch.h"

namespace {

using common::Rect;
using media::Nv12Frame;

constexpr int kOrientations[] = {270, 90, 0, 180};
constexpr std::pair<int, int> kSizes[] = {{64, 48}, {51, 70}, {2, 2}, {201, 33}};

// Makes random blocks of 2 x 2 equal pixels, so that a crop's sampling grid has no effect; all
// values are below 255.
Nv12Frame BlockFrame(int width, int height) {
  std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
  Nv12Frame frame;
  EXPECT_FALSE(media::ShapeFrame(width, height, 0, &frame));
  for (uint8_t& byte : frame.bytes) byte = static_cast<uint8_t>(random() % 255);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      frame.Luma()[y * frame.stride + x] = frame.Luma()[y / 2 * 2 * frame.stride + x / 2 * 2];
    }
  }
  return frame;
}

// Returns the input of the node's models: luma, then colours.
std::vector<uint8_t> Crop(const Nv12Frame& frame, int orientation) {
  std::vector<uint8_t> luma, chroma;
  for (int y = 0; y < frame.height; ++y) {
    const uint8_t* const row = frame.Luma() + y * frame.stride;
    luma.insert(luma.end(), row, row + frame.width);
    const uint8_t* const pairs = frame.Chroma() + y / 2 * frame.stride;
    if (y % 2 == 1) chroma.insert(chroma.end(), pairs, pairs + frame.width);
  }
  const auto pixels = static_cast<size_t>(frame.width / 2 * (frame.height / 2));
  std::vector<uint8_t> crop(4 * pixels);
  android::prepareDataForFaceAnalyse(luma.data(), chroma.data(), crop.data(), crop.data() + pixels,
                                     frame.width, frame.height, orientation, 1);
  return crop;
}

TEST(Upright, TheModelsGetTheSamePictureAtEveryOrientation) {
  VP8YUVInit();
  for (const auto& [width, height] : kSizes) {
    const Nv12Frame upright = BlockFrame(width, height);
    const std::vector<uint8_t> expected = Crop(upright, 270);
    EXPECT_EQ(expected.front(), *upright.Luma());
    for (const int orientation : kOrientations) {
      Nv12Frame frame;
      ASSERT_FALSE(camsim::TurnToSensor(upright, orientation, 0, &frame));
      EXPECT_EQ(Crop(frame, orientation), expected) << width << "x" << height << " " << orientation;
    }
  }
}

TEST(Upright, RectanglesFollowTheirPixels) {
  const Rect rect = {8, 4, 30, 22};
  for (const auto& [width, height] : {kSizes[0], kSizes[1], kSizes[3]}) {
    Nv12Frame upright = BlockFrame(width, height), frame;
    for (int y = rect.y; y < rect.y + rect.h; ++y) {
      std::fill_n(upright.Luma() + y * upright.stride + rect.x, rect.w, uint8_t{255});
    }
    for (const int orientation : kOrientations) {
      ASSERT_FALSE(camsim::TurnToSensor(upright, orientation, 0, &frame));
      const Rect moved = camsim::TurnToSensor(rect, orientation, {width, height});
      EXPECT_EQ(camsim::TurnToSensor(moved, orientation, {frame.width, frame.height}), rect);
      int marked = 0;
      for (int i = 0; i < frame.width * frame.height; ++i) {
        const int x = i % frame.width - moved.x, y = i / frame.width - moved.y;
        const bool inside = x >= 0 && x < moved.w && y >= 0 && y < moved.h;
        const int luma = frame.Luma()[i / frame.width * frame.stride + i % frame.width];
        ASSERT_EQ(inside, luma == 255) << orientation << ": " << i;
        marked += inside;
      }
      EXPECT_EQ(marked, rect.w * rect.h);
    }
  }
}

TEST(Upright, APictureOnePixelWideStaysUnchanged) {
  const Nv12Frame upright = BlockFrame(1, 9);
  for (const int orientation : kOrientations) {
    Nv12Frame frame;
    ASSERT_FALSE(camsim::TurnToSensor(upright, orientation, 0, &frame));
    EXPECT_EQ(frame.bytes, upright.bytes);
    EXPECT_EQ(camsim::TurnToSensor(Rect{0, 2, 1, 3}, orientation, {1, 9}), (Rect{0, 2, 1, 3}));
  }
}

TEST(DeviceInput, ValuesHoldUntilTheyChangeAndTheLaterRectanglesCount) {
  using Absent = std::optional<int32_t>;
  constexpr camsim::Size kSent = {4000, 3000};
  camsim::DeviceInput input{camsim::Options()};
  EXPECT_EQ(input.Carried(kSent, {{10, 20, 30, 40}}).face_rectangles,
            (std::vector<int32_t>{20, 40, 78, 118}));
  record::RequestStep step;
  step.in.orientation = Absent(90);
  step.in.score = Absent();
  input.Change(step);
  step = {};
  step.in.orientation = Absent();
  step.faces = {{1, 2, 3, 4}};
  input.Change(step);
  // An absent value stays unchanged.
  EXPECT_EQ(input.Holds().orientation, 90);
  EXPECT_EQ(input.Holds().score, 1);
  const framework::DeviceState carried = input.Carried(kSent, *input.Faces());
  EXPECT_FALSE(carried.orientation || carried.score);
  EXPECT_EQ(carried.gender_and_age, 1);
  EXPECT_FALSE(input.RawFaces(kSent));
  step = {};
  step.in.face_rectangles = std::optional(std::vector<int32_t>{20, 40, 78, 118});
  input.Change(step);
  EXPECT_FALSE(input.Faces());
  EXPECT_EQ(*input.RawFaces(kSent), (std::vector<Rect>{{10, 20, 30, 40}}));
  step.in.face_rectangles = std::optional<std::vector<int32_t>>();
  input.Change(step);
  EXPECT_EQ(input.RawFaces(kSent), std::vector<Rect>());
  EXPECT_FALSE(input.Carried(kSent, {}).face_rectangles);
}

TEST(Clip, FiguresFollowTheirFaces) {
  record::RequestRecord published, frame;
  published.why.emplace();
  frame.why.emplace();
  published.faces = {{100, 100, 50, 50}, {300, 100, 40, 40}, {500, 100, 30, 30}};
  published.out.result = {3, {0.1f, 0.2f, 0.3f}, {10, 20, 30}, {60, 70, 80}, {0.8f, 0.6f, 0.4f}};
  // The second face came nearer, the third left; the last one is new.
  frame.faces = {{290, 95, 60, 60}, {120, 110, 50, 50}, {700, 100, 30, 30}};
  const record::RequestRecord shown = camsim::WithFigures(frame, published);
  EXPECT_EQ(shown.faces, frame.faces);
  for (const auto& [slot, from] : {std::pair(0, 1), {1, 0}}) {
    EXPECT_EQ(shown.out.result.gender[slot], published.out.result.gender[from]);
    EXPECT_EQ(shown.out.result.age[slot], published.out.result.age[from]);
    EXPECT_EQ(shown.out.result.score[slot], published.out.result.score[from]);
    EXPECT_EQ(shown.out.result.prop[slot], published.out.result.prop[from]);
    EXPECT_TRUE((*shown.why)[static_cast<size_t>(slot)].HasFigures());
  }
  EXPECT_FALSE((*shown.why)[2].HasFigures());
}

// Two requests without figures look alike: nothing counts their age.
TEST(Clip, HasNoAgeOfFiguresBeforeTheFirst) {
  std::FILE* const file = std::tmpfile();
  camsim::AnnotatedClip clip("", "30:1", file);
  record::RequestRecord request;
  request.why.emplace().fill({framework::Why::kNoFace, framework::Why::kNoFace});
  for (request.number = 1; request.number <= 2; ++request.number) {
    ASSERT_FALSE(clip.OnRequest(request, BlockFrame(200, 48)));
  }
  std::string text(static_cast<std::size_t>(std::ftell(file)), 0);
  std::rewind(file);
  ASSERT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
  std::fclose(file);
  const std::size_t first = text.find("FRAME"), second = text.rfind("FRAME");
  EXPECT_EQ(text.substr(first, second - first), text.substr(second));
}

TEST(Crop, HoldsAsManyOfTheLargestFacesAsAreAnalysedInIt) {
  const struct {
    std::vector<Rect> faces;
    Rect crop;
  } cases[] = {
      {{}, {0, 0, 1200, 900}},
      {{{600, 400, 61, 80}}, {550, 380, 160, 120}},
      // All three; the smallest of them is wider than a sixth.
      {{{300, 300, 60, 60}, {500, 300, 70, 70}, {400, 320, 64, 64}, {0, 0, 9, 9}},
       {284, 226, 304, 228}},
      // The second is too far away, so that neither it nor the third is held.
      {{{300, 300, 70, 70}, {1100, 800, 60, 60}, {320, 320, 20, 20}}, {264, 282, 142, 106}},
      {{{0, 0, 1200, 900}}, {0, 0, 1200, 900}},
      {{{1199, 899, 1, 1}}, {1178, 884, 22, 16}},
  };
  for (const auto& [faces, crop] : cases) {
    EXPECT_EQ(camsim::ChooseCrop(faces, {1200, 900}), crop) << faces.size();
  }
}

TEST(PassWatch, HasTheRunsClockAndTheLatestPass) {
  camsim::Clock clock;
  camsim::PassWatch passes(clock, true, false);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  clock.Start();
  record::RequestRecord request;
  for (const int64_t number : {4, 28}) {
    request.number = number;
    passes.HandOver(request, {});
    const auto pass = passes.TakeEnded();
    ASSERT_TRUE(pass);
    EXPECT_LT(pass->time.took, 50'000);
    EXPECT_EQ(passes.Analysed(), number);
  }
  passes.EndPipeline();
  EXPECT_EQ(passes.Analysed(), 0);
}

}  // namespace
