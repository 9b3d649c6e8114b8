// SPDX-License-Identifier: Apache-2.0
// Requests of all shapes. Planes and tag values end at a page that nobody may touch.
#include <random>

#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

// Enough of the same for any pacing to let some through to the worker.
constexpr int kEnough = 24;

template <typename Buffers>
void SendEnough(Camera* camera, const Buffers& buffers, bool is_valid) {
  for (uint64_t number = 1; number <= kEnough; ++number) camera->Send(number, buffers, is_valid);
  AwaitWorkers();
}

std::string Sizes(const Subject& subject) {
  subject.Start();
  Camera camera(640, 480);
  constexpr struct {
    uint32_t width, height, pitch;
  } kShapes[] = {{640, 480, 640}, {641, 479, 704}, {1, 1, 2},     {2, 300, 64},
                 {333, 1, 384},   {64, 48, 4096},  {97, 211, 98}, {1280, 720, 1280}};
  camera.SetFaces(2);
  for (const auto& shape : kShapes) {
    Frame frame(shape.width, shape.height, shape.pitch);
    for (const uint32_t orientation : {0u, 90u, 180u, 270u}) {
      camera.session.Input().SetWords(
          framework::Framework::Get().Tags().Id("brodax.device", "orientation"),
          std::vector<uint32_t>{orientation});
      SendEnough(&camera, &frame, true);
    }
  }
  return "";
}

std::string Pitch(const Subject& subject) {
  subject.Start();
  Camera camera(640, 480);
  for (const uint32_t pitch : {0u, 1u, 320u, 639u}) {
    Frame frame(640, 480, pitch);
    SendEnough(&camera, &frame, false);
  }
  camera.Send(1);
  return "";
}

std::string Planes(const Subject& subject) {
  subject.Start();
  Camera camera(640, 480);
  for (int missing = 0; missing < 5; ++missing) {
    Frame frame(640, 480, 640);
    if (missing < 2) frame.image.pPlaneAddress[missing] = nullptr;
    if (missing == 2) frame.buffer.numPlanes = 1;
    if (missing == 3) frame.buffer.numImages = 0;
    if (missing == 4) frame.buffer.pImages = nullptr;
    SendEnough(&camera, &frame, false);
  }
  camera.Send(1);
  return "";
}

std::string Buffers(const Subject& subject) {
  subject.Start();
  Camera camera(640, 480);
  Frame frame(640, 480, 640);
  for (const uint32_t count : {0u, 2u, 12u, 13u, 100u}) {
    SendEnough(&camera, std::vector<ChiNodeBuffer*>(count, &frame.buffer), false);
  }
  camera.Send(1);
  return "";
}

std::string FrameNumbers(const Subject& subject) {
  subject.Start();
  Camera camera(320, 240);
  for (const uint64_t first : {UINT64_C(0), UINT64_MAX - 15}) {
    for (uint64_t i = 0; i < 30; ++i) camera.Send(first + i);  // over the end, to 0 again
  }
  for (uint64_t i = 30; i > 0; --i) camera.Send(i);
  for (int i = 0; i < 12; ++i) camera.Send(4);
  return "";
}

using Random = std::independent_bits_engine<std::mt19937, 32, uint32_t>;

// `count` words: any bits at times, else small ones.
std::vector<uint32_t> RandomWords(Random& random, std::size_t count, uint32_t below) {
  const bool is_wild = random() % 4 == 0;
  std::vector<uint32_t> words(count);
  for (uint32_t& word : words) word = is_wild ? random() : random() % below;
  return words;
}

// Tags present or not; faces in or out of the frame, any number of words. In half of the requests
// the node is the main camera's.
void SetRandomMetadata(Random& random, framework::Metadata* input) {
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  input->Clear();
  for (const uint32_t tag : tags.Ids()) {
    std::size_t bytes = 0;
    uint32_t count = 0;
    tags.Describe(tag, &bytes, &count);
    const std::vector<uint32_t> words = RandomWords(random, bytes * count / 4 + 1, 3);
    if (random() % 8 != 0) input->Set(tag, words.data(), bytes * count, count);
  }
  if (random() % 2 == 0) {
    input->SetWords(tags.Id("com.qti.chi.multicamerainfo", "MultiCameraIdRole"),
                    std::vector<uint32_t>{0, 1, random() % 9});
    input->SetWords(tags.Id("brodax.sensorSize", "size"), std::vector<uint32_t>{4000, 3000});
  }
  const std::size_t words = random() % 8 == 0 ? random() % 1200 : random() % 5 * 4;
  if (random() % 8 != 0) input->SetWords(kChiFaceRectanglesTag, RandomWords(random, words, 8000));
}

std::string RandomMetadata(const Subject& subject) {
  subject.Start();
  Random random(subject.options.seed);
  const std::string seed = "--seed " + std::to_string(subject.options.seed);
  Camera camera(640, 480);
  for (uint64_t number = 1; number <= 1000;) {
    const uint32_t width = 1 + random() % 400;
    Frame frame(width, 1 + random() % 300, width + width % 2);
    for (int i = 0; i < 25; ++i, ++number) {
      SetRandomMetadata(random, &camera.session.Input());
      Doing("process-request " + std::to_string(number) + " with " + seed);
      camera.Send(number, &frame, true);
    }
    AwaitWorkers();
  }
  return seed;
}

}  // namespace

const Checks kRequestChecks = {
    {"requests.sizes", "Sizes that change, odd ones, wide pitches, at four orientations.", Sizes},
    {"requests.pitch", "A pitch below the width does no harm.", Pitch},
    {"requests.planes", "Missing planes and images do no harm.", Planes},
    {"requests.buffers", "0, 12 and more buffers do no harm.", Buffers},
    {"requests.frame_numbers", "Frame numbers from 0, backwards, over the end, and again.",
     FrameNumbers},
    {"requests.random", "1,000 requests with random metadata.", RandomMetadata},
};

}  // namespace nodecheck
