// SPDX-License-Identifier: Apache-2.0
// Tests the networks' arithmetic and file handling without the fetched files.
#include "real_models/networks.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>
#include <random>

#include "real_models/find_faces.h"

namespace {

// ---- Age and gender: a network with seeded weights ---------------------------------------------

// Weights in the order of the files: filters are height, width, inputs, outputs.
class SeededNet {
 public:
  // Quantises every other weight.
  SeededNet() {
    const auto separable = [this](const std::string& name, int in, int out) {
      Add(name + "/depthwise_filter", {3, 3, in, 1});
      Add(name + "/pointwise_filter", {1, 1, in, out});
      Add(name + "/bias", {out});
    };
    const auto reduction = [&](const std::string& name, int in, int out) {
      separable(name + "/separable_conv0", in, out);
      separable(name + "/separable_conv1", out, out);
      Add(name + "/expansion_conv/filters", {1, 1, in, out});
      Add(name + "/expansion_conv/bias", {out});
    };
    Add("entry_flow/conv_in/filters", {3, 3, 3, 4});
    Add("entry_flow/conv_in/bias", {4});
    reduction("entry_flow/reduction_block_0", 4, 5);
    reduction("entry_flow/reduction_block_1", 5, 6);
    for (const std::string block : {"0", "1"}) {
      for (const std::string part : {"0", "1", "2"}) {
        separable("middle_flow/main_block_" + block + "/separable_conv" + part, 6, 6);
      }
    }
    reduction("exit_flow/reduction_block", 6, 7);
    separable("exit_flow/separable_conv", 7, 8);
    Add("fc/age/weights", {8, 1});
    Add("fc/age/bias", {1});
    Add("fc/gender/weights", {8, 2});
    Add("fc/gender/bias", {2});
  }

  nlohmann::json entries = nlohmann::json::array();
  std::string bytes;

  std::string Manifest() const { return nlohmann::json{{{"weights", entries}}}.dump(); }

 private:
  void Add(const std::string& name, const std::vector<int>& shape) {
    nlohmann::json entry = {{"name", name}, {"shape", shape}};
    const bool quantised = entries.size() % 2 == 0;
    const float scale = 0.004f, least = -0.5f;
    if (quantised) entry["quantization"] = {{"dtype", "uint8"}, {"scale", scale}, {"min", least}};
    int count = 1;
    for (const int side : shape) count *= side;
    for (int i = 0; i < count; ++i) {
      const auto byte = static_cast<uint8_t>(random_());
      const float value = static_cast<float>(byte) * scale + least;
      bytes.append(quantised ? std::string(1, static_cast<char>(byte))
                             : std::string(reinterpret_cast<const char*>(&value), sizeof(value)));
    }
    entries.push_back(entry);
  }

  std::mt19937 random_{7};
};

cv::Mat RandomPicture(int width, int height, uint64_t seed) {
  cv::Mat picture(height, width, CV_8UC3);
  cv::RNG(seed).fill(picture, cv::RNG::UNIFORM, 0, 256);
  return picture;
}

// Expects the figures of plain loops over the layers, for three pictures.
TEST(AgeGenderNet, MatchesPlainLoops) {
  SeededNet plain;
  real_models::AgeGenderNet net;
  ASSERT_EQ(net.Load(plain.Manifest(), plain.bytes), "");
  for (const auto& [seed, age, male] : {std::tuple(1u, -0.453799397, 0.478811085),
                                        {2u, -0.45447576, 0.48083064},
                                        {3u, -0.450961143, 0.480186462}}) {
    const real_models::AgeAndGender seen =
        net.Run(RandomPicture(real_models::kAgeGenderInput, real_models::kAgeGenderInput, seed));
    EXPECT_NEAR(seen.age, age, 1e-5);
    EXPECT_NEAR(seen.male, male, 1e-5);
  }
}

// ---- Files --------------------------------------------------------------------------------------

// Returns the error of the library beside these files.
std::string ErrorWith(const std::map<std::string, std::string>& files) {
  char folder[] = "/tmp/models_test_XXXXXX";
  if (mkdtemp(folder) == nullptr) return "no folder";
  const std::string library = std::string(folder) + "/libzy_networks.so";
  std::filesystem::copy_file(NETWORKS_LIBRARY, library);
  for (const auto& [name, content] : files) std::ofstream(folder + ("/" + name)) << content;
  void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  std::string error = "not opened";
  if (handle != nullptr) {
    const auto open =
        reinterpret_cast<decltype(&zy_open_face_finder)>(dlsym(handle, "zy_open_face_finder"));
    error = open();
    error.erase(0, error.rfind(folder, 0) == 0 ? sizeof(folder) : 0);
  }
  std::filesystem::remove_all(folder);
  return error;
}

TEST(ModelFiles, NamesMissingAndForeignFiles) {
  const std::string manifest = "age_gender_model-weights_manifest.json";
  EXPECT_EQ(ErrorWith({}), manifest + ": is missing or empty");
  EXPECT_EQ(ErrorWith({{manifest, SeededNet().Manifest()}}),
            manifest + ": is not the file of SHA256SUMS");
}

// Returns the error of a manifest and its weights, returned or thrown.
std::string ErrorOf(const std::string& manifest, const std::string& weights) {
  try {
    return real_models::AgeGenderNet().Load(manifest, weights);
  } catch (const std::exception& thrown) {
    return thrown.what();
  }
}

TEST(AgeGenderNet, RefusesWeightsThatDoNotFitTheManifest) {
  SeededNet net;
  EXPECT_EQ(ErrorOf(net.Manifest(), net.bytes.substr(1)), "the weights are cut short");
  EXPECT_EQ(ErrorOf(net.Manifest(), net.bytes + "x"),
            "the weights have more bytes than their manifest");
  // The products of the first two are small modulo 2^64.
  for (const std::vector<int>& shape : std::vector<std::vector<int>>{{141775993, 672698, 580254},
                                                                     {65536, 65536, 65536, 65536},
                                                                     {-3, -3, 3, 4},
                                                                     {0},
                                                                     {},
                                                                     {3, 3, 1, 1, 12}}) {
    net.entries[0]["shape"] = shape;
    EXPECT_EQ(ErrorOf(net.Manifest(), net.bytes), "the weights are cut short");
  }
  SeededNet renamed;
  renamed.entries[0]["name"] = "other";
  EXPECT_NE(ErrorOf(renamed.Manifest(), renamed.bytes), "");
}

// ---- Faces --------------------------------------------------------------------------------------

// Returns outputs of the detector without a face.
std::vector<cv::Mat> NoFaces() {
  std::vector<cv::Mat> answers;
  for (const int anchors : {512, 384}) {
    answers.emplace_back(cv::Mat(anchors, 16, CV_32F, cv::Scalar(0)));
    answers.emplace_back(cv::Mat(anchors, 1, CV_32F, cv::Scalar(-20)));
  }
  return answers;
}

// Writes a square face around (x, y) into the output of the anchor at (at_x, at_y).
void SetFace(std::vector<cv::Mat>* answers, int anchor, cv::Point2f at, cv::Point2f centre,
             float side, float logit) {
  const size_t layer = anchor < 512 ? 0 : 2;
  const int row = anchor % 512;
  (*answers)[layer + 1].at<float>(row) = logit;
  float* const values = (*answers)[layer].ptr<float>(row);
  for (int i = 0; i < 16; i += 2) {
    values[i] = centre.x - at.x + static_cast<float>(i);
    values[i + 1] = centre.y - at.y;
  }
  values[0] = centre.x - at.x;
  values[2] = values[3] = side;
}

TEST(DecodeFaces, PlacesBoxesAndPointsRelativeToTheAnchors) {
  std::vector<cv::Mat> answers = NoFaces();
  EXPECT_TRUE(real_models::DecodeFaces(answers, 0.5f).empty());
  // The second anchor in column 3 of row 2 of the fine grid; the last one of the coarse grid.
  SetFace(&answers, (2 * 16 + 3) * 2 + 1, {56, 40}, {60, 50}, 20, 1);
  SetFace(&answers, 512 + 383, {240, 240}, {200, 210}, 90, 2);
  const std::vector<real_models::FoundFace> faces = real_models::DecodeFaces(answers, 0.5f);
  ASSERT_EQ(faces.size(), 2u);
  EXPECT_EQ(faces[0].box, cv::Rect2f(155, 165, 90, 90));
  EXPECT_NEAR(faces[0].score, 1 / (1 + std::exp(-2.0f)), 1e-6f);
  EXPECT_EQ(faces[1].box, cv::Rect2f(50, 40, 20, 20));
  for (int point = 0; point < 6; ++point) {
    EXPECT_EQ(faces[1].points[static_cast<size_t>(point)],
              cv::Point2f(static_cast<float>(64 + 2 * point), 50));
  }
  EXPECT_EQ(real_models::DecodeFaces(answers, 0.8f).size(), 1u);
  answers.back().convertTo(answers.back(), CV_8S);
  EXPECT_TRUE(real_models::DecodeFaces(answers, 0).empty()) << "answers of another type";
  answers.pop_back();
  EXPECT_TRUE(real_models::DecodeFaces(answers, 0).empty()) << "answers of another network";
}

TEST(DecodeFaces, DropsBoxesThatOverlapABetterOne) {
  // A box of 40 overlaps one of 20 by `columns` of the smaller.
  for (const auto& [columns, kept] : {std::pair(7.9f, 2u), {8.1f, 1u}, {20.0f, 1u}}) {
    std::vector<cv::Mat> answers = NoFaces();
    SetFace(&answers, 0, {8, 8}, {100, 100}, 40, 2);
    SetFace(&answers, 2, {24, 8}, {130 - columns, 100}, 20, 3);
    const std::vector<real_models::FoundFace> faces = real_models::DecodeFaces(answers, 0.5f);
    ASSERT_EQ(faces.size(), kept) << columns;
    EXPECT_LT(faces[0].box.width, 30) << "the better one stays";
  }
}

TEST(CropSquare, TakesTheGivenSquare) {
  const cv::Mat picture = RandomPicture(90, 60, 5);
  const auto expect_equal = [](const cv::Mat& a, const cv::Mat& b) {
    EXPECT_LE(cv::norm(a, b, cv::NORM_INF), 1);
  };
  expect_equal(real_models::CropSquare(picture, {{30, 20}, 16}, 16, cv::BORDER_CONSTANT),
               picture(cv::Rect(22, 12, 16, 16)));
  cv::Mat third;
  cv::resize(picture(cv::Rect(40, 10, 48, 48)), third, {16, 16}, 0, 0, cv::INTER_AREA);
  expect_equal(real_models::CropSquare(picture, {{64, 34}, 48}, 16, cv::BORDER_CONSTANT), third);
  const cv::Mat corner = real_models::CropSquare(picture, {{0, 0}, 8}, 8, cv::BORDER_REPLICATE);
  EXPECT_EQ(corner.at<cv::Vec3b>(0, 0), picture.at<cv::Vec3b>(0, 0));
  EXPECT_EQ(cv::norm(real_models::CropSquare(picture, {{-50, 0}, 8}, 8, cv::BORDER_CONSTANT)), 0);
}

// ---- Grade --------------------------------------------------------------------------------------

TEST(GradePicture, FallsWithBlurDarknessAndTurn) {
  real_models::FoundFace face;
  face.score = 1;
  face.box = {20, 20, 128, 128};
  face.points = {cv::Point2f(60, 70), cv::Point2f(100, 70), cv::Point2f(80, 90)};
  cv::Mat picture, small = RandomPicture(21, 21, 9);
  cv::resize(small, picture, {168, 168}, 0, 0, cv::INTER_CUBIC);
  const std::array<float, 4> best = real_models::GradePicture(picture, face);
  EXPECT_GT(best[0], 60);
  // The parts: 1 is sharpness, 2 exposure, 3 pose; the total follows the part that changed.
  const auto expect_falling = [&](size_t part, const std::function<void(int)>& worsen) {
    float total = best[0], value = best[part];
    for (int step = 1; step <= 3; ++step) {
      worsen(step);
      const std::array<float, 4> grade = real_models::GradePicture(picture, face);
      EXPECT_LT(grade[part], value) << part << " at step " << step;
      EXPECT_LT(grade[0], total) << part << " at step " << step;
      total = grade[0];
      value = grade[part];
    }
  };
  const cv::Mat clear = picture.clone();
  expect_falling(1, [&](int step) { cv::GaussianBlur(clear, picture, {}, step + 1); });
  expect_falling(2, [&](int step) { clear.convertTo(picture, -1, 0.25, 50 - 20 * step); });
  clear.copyTo(picture);
  expect_falling(3, [&](int step) { face.points[2].x = static_cast<float>(80 + 6 * step); });
  face.score = 0;
  EXPECT_EQ(real_models::GradePicture(picture, face)[3], 0);
  face.box.x = 500;
  EXPECT_EQ(real_models::GradePicture(picture, face)[0], 0);
}

}  // namespace
