// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <sstream>
#include <tuple>

#include "common/digest.h"
#include "media/annotate.h"
#include "media/frame_source.h"
#include "media/picture.h"
#include "media/scene.h"
#include "media/y4m.h"
#include "platform/age_gender_model.h"
#include "platform/face_grade.h"
#include "tests/fuzz/png_checksums.h"

namespace media {
namespace {

using common::Failure;
using common::Rect;

using Bytes = std::vector<uint8_t>;

Bytes BytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

std::string MessageOf(const Failure& failure) { return failure ? failure->message : "success"; }

bool IsOneLine(const Failure& failure) {
  return failure && !failure->message.empty() && failure->message.find('\n') == std::string::npos;
}

Bytes EncodePng(const void* pixels, int width, int height, png_uint_32 format) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = format;
  const png_color map[256] = {{1, 2, 3}, {40, 50, 60}};
  image.colormap_entries = 2;
  Bytes bytes(10000);
  png_alloc_size_t size = bytes.size();
  EXPECT_NE(png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels, 0, map), 0);
  bytes.resize(size);
  return bytes;
}

// Encodes a gray picture of 16 bits without colour space information; incomplete unless it has one
// pixel.
Bytes EncodeGray16(int width, int height) {
  const uint8_t pixel[] = {0x80, 0x80};
  Bytes bytes = EncodePng(pixel, 2, 1, PNG_FORMAT_GRAY);
  bytes.erase(bytes.begin() + 33, bytes.begin() + 46);  // the colour space follows the header
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[16 + i] = static_cast<uint8_t>(width >> (24 - 8 * i));
    bytes[20 + i] = static_cast<uint8_t>(height >> (24 - 8 * i));
  }
  bytes[24] = 16;
  fuzz::CorrectChecksums(&bytes);
  return bytes;
}

Bytes EncodeJpeg(const Picture& picture, int flags) {
  tjhandle encoder = tjInitCompress();
  Bytes bytes(10000);
  unsigned char* data = bytes.data();
  unsigned long size = bytes.size();
  EXPECT_EQ(0, tjCompress2(encoder, picture.rgb.data(), picture.width, 0, picture.height, TJPF_RGB,
                           &data, &size, TJSAMP_420, 90, flags | TJFLAG_NOREALLOC));
  bytes.resize(size);
  tjDestroy(encoder);
  return bytes;
}

Picture DrawScene(int width, int height, int faces, int64_t index) {
  Nv12Frame frame;
  Scene(width, height, 0, faces).Draw(index, &frame);
  return Nv12ToPicture(frame);
}

Failure Decode(const Bytes& bytes, Picture* picture) {
  // An exact copy on the heap, so that the address sanitizer detects a read beyond its end.
  const Bytes exact(bytes);
  return DecodePicture(exact.data(), exact.size(), picture);
}

TEST(Picture, EveryKindOfPngBecomesRgb) {
  const uint8_t gray[] = {7, 200};
  const uint8_t map_indices[] = {1, 0};
  const uint8_t rgba[] = {200, 100, 50, 255, 200, 100, 50, 0};
  const std::pair<Bytes, Bytes> cases[] = {
      {EncodePng(gray, 2, 1, PNG_FORMAT_GRAY), {7, 7, 7, 200, 200, 200}},
      {EncodePng(map_indices, 2, 1, PNG_FORMAT_RGB_COLORMAP), {40, 50, 60, 1, 2, 3}},
      {EncodePng(rgba, 2, 1, PNG_FORMAT_RGBA), {200, 100, 50, 0, 0, 0}},
      {EncodeGray16(1, 1), {128, 128, 128}},
  };
  for (const auto& [file, expected] : cases) {
    Picture picture;
    ASSERT_EQ(MessageOf(Decode(file, &picture)), "success");
    EXPECT_EQ(picture.rgb, expected);
  }
}

TEST(Picture, IsReadWholeOrNotAtAll) {
  const Picture original = DrawScene(24, 17, 1, 0);
  for (const Bytes& whole : {EncodePng(original.rgb.data(), 24, 17, PNG_FORMAT_RGB),
                             EncodeJpeg(original, 0), EncodeJpeg(original, TJFLAG_PROGRESSIVE)}) {
    Picture picture;
    ASSERT_EQ(MessageOf(Decode(whole, &picture)), "success");
    ASSERT_EQ(picture.rgb.size(), original.rgb.size());
    std::size_t difference = 0;
    for (std::size_t i = 0; i < original.rgb.size(); ++i) {
      difference += static_cast<std::size_t>(std::abs(picture.rgb[i] - original.rgb[i]));
    }
    EXPECT_LT(difference, original.rgb.size() * 8);
    for (std::size_t size = 0; size < whole.size(); ++size) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_TRUE(IsOneLine(Decode(cut, &picture))) << size;
    }
  }
}

TEST(Picture, ClaimedSizesAreCheckedBeforeMemoryIsTaken) {
  Picture picture;
  const std::string limits = " is outside the limits: 1 to 16384 a side and at most 128 Mi pixels";
  EXPECT_EQ(MessageOf(Decode(EncodeGray16(16385, 1), &picture)), "size 16385x1" + limits);
  EXPECT_EQ(MessageOf(Decode(EncodeGray16(16384, 16384), &picture)), "size 16384x16384" + limits);
  EXPECT_EQ(MessageOf(Decode(EncodeGray16(8192, 8192), &picture)),
            "damaged PNG: the file is cut short");
  Bytes jpeg = EncodeJpeg(MakePicture(8, 8), 0);
  const uint8_t frame_header[] = {0xff, 0xc0, 0, 17, 8};
  const auto at = std::search(jpeg.begin(), jpeg.end(), frame_header, frame_header + 5);
  at[5] = at[7] = 0x40;
  EXPECT_EQ(MessageOf(Decode(jpeg, &picture)), "size 16392x16392" + limits);
  at[5] = at[7] = 0x10;
  EXPECT_EQ(MessageOf(Decode(jpeg, &picture)), "damaged JPEG: the file is cut short");
  at[1] = 0xc9;
  EXPECT_EQ(MessageOf(Decode(jpeg, &picture)), "JPEG with arithmetic coding is not supported");
}

TEST(Picture, JpegsAreTurnedByTheirExifOrientationAndDamagedExifIsHarmless) {
  Picture stored = MakePicture(24, 16);
  FillRectangle({0, 0, 8, 8}, {255, 255, 255}, &stored);
  const Bytes jpeg = EncodeJpeg(stored, 0);
  const auto decode = [&](const Bytes& segment) {
    Bytes file = jpeg;
    file.insert(file.begin() + 2, segment.begin(), segment.end());
    Picture picture;
    EXPECT_EQ(MessageOf(Decode(file, &picture)), "success");
    return picture;
  };
  for (uint8_t orientation = 1; orientation <= 8; ++orientation) {
    // The corner for the stored picture's upper left one, and whether width and height are
    // exchanged.
    const bool right = orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7;
    const bool below = orientation == 3 || orientation == 4 || orientation >= 7;
    const bool swapped = orientation >= 5;
    const Bytes little_endian = {0xff, 0xe1, 0, 34, 'E',         'x', 'i', 'f', 0,    0, 'I', 'I',
                                 42,   0,    8, 0,  0,           0,   1,   0,   0x12, 1, 3,   0,
                                 1,    0,    0, 0,  orientation, 0,   0,   0,   0,    0, 0,   0};
    const Bytes big_endian = {0xff, 0xe1, 0, 34, 'E', 'x',         'i', 'f', 0, 0,    'M', 'M',
                              0,    42,   0, 0,  0,   8,           0,   1,   1, 0x12, 0,   3,
                              0,    0,    0, 1,  0,   orientation, 0,   0,   0, 0,    0,   0};
    for (const Bytes& segment : {little_endian, big_endian}) {
      Picture upright = decode(segment);
      ASSERT_EQ(upright.width, swapped ? 16 : 24) << int{orientation};
      EXPECT_GT(*upright.Pixel(right ? upright.width - 4 : 4, below ? upright.height - 4 : 4), 200);
      for (std::size_t at = 4; at < segment.size(); ++at) {
        Bytes damaged = segment;
        damaged[at] = 0xff;
        decode(damaged);
      }
    }
  }
}

TEST(Nv12, PrimariesHaveTheirBt601Codes) {
  const std::pair<Colour, Bytes> cases[] = {
      {{0, 0, 0}, {16, 128, 128}},   {{255, 255, 255}, {235, 128, 128}},
      {{255, 0, 0}, {81, 90, 240}},  {{0, 255, 0}, {145, 54, 34}},
      {{0, 0, 255}, {41, 240, 110}}, {{255, 255, 0}, {210, 16, 146}},
  };
  for (const auto& [colour, expected] : cases) {
    Nv12Frame frame;
    ASSERT_FALSE(PictureToNv12({1, 1, {colour.r, colour.g, colour.b}}, 0, &frame));
    EXPECT_EQ(Bytes({frame.Luma()[0], frame.Chroma()[0], frame.Chroma()[1]}), expected);
  }
}

std::unique_ptr<ByteReader> ReaderOf(const Bytes& bytes) {
  void* const memory = const_cast<uint8_t*>(bytes.data());
  return std::make_unique<ByteReader>(fmemopen(memory, bytes.size(), "rb"));
}

Failure OpenBytes(const Bytes& bytes, const FrameSourceOptions& options,
                  std::unique_ptr<FrameSource>* source) {
  return OpenFrameSource(ReaderOf(bytes), options, source);
}

FrameSourceOptions Options(int width, int height, int stride) {
  return {"in", width, height, stride};
}

TEST(Y4m, EveryLayoutMatchesAFrameComputedByHand) {
  constexpr uint8_t p = kPaddingByte;
  const Bytes nv12_3x3 = {1, 2, 3, p, 4, 5, 6, p, 7, 8, 9, p, 11, 101, 12, 102, 13, 103, 14, 104};
  const Bytes planes_3x3 = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 101, 102, 103, 104};
  const std::tuple<const char*, Bytes, int, Bytes> cases[] = {
      {"W3 H3", planes_3x3, 4, nv12_3x3},
      {"W3 H3 F30:1 Ip A1:1 C420jpeg XYSCSS=420JPEG", planes_3x3, 4, nv12_3x3},
      {"W3 H3 C420mpeg2 F0:0", planes_3x3, 4, nv12_3x3},
      {"C420paldv H3 W3", planes_3x3, 4, nv12_3x3},
      {"W2 H2 C420", {1, 2, 3, 4, 50, 60}, 3, {1, 2, p, 3, 4, p, 50, 60, p}},
      {"W2 H2 C420", {1, 2, 3, 4, 50, 60}, 2, {1, 2, 3, 4, 50, 60}},
      {"W3 H3 C422",
       {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 20, 31, 50, 60, 80, 100, 120, 131, 150, 160, 180},
       4,
       {1, 2, 3, p, 4, 5, 6, p, 7, 8, 9, p, 16, 116, 35, 135, 60, 160, 80, 180}},
      {"W3 H3 C444",
       {1,  2,  3,  4,  5,   6,   7,   8,   9,   0,   10,  20,  30, 41,
        50, 60, 70, 80, 100, 110, 120, 130, 141, 150, 160, 170, 180},
       4,
       {1, 2, 3, p, 4, 5, 6, p, 7, 8, 9, p, 20, 120, 35, 135, 65, 165, 80, 180}},
      {"W1 H1 C444", {1, 2, 3}, 2, {1, p, 2, 3}},
      {"W3 H1 Cmono", {1, 2, 3}, 4, {1, 2, 3, p, 128, 128, 128, 128}},
      {"W3 H1 Cmono XCOLORRANGE=FULL", {0, 128, 255}, 4, {16, 126, 235, p, 128, 128, 128, 128}},
      {"W1 H1 C444 XCOLORRANGE=FULL", {255, 0, 255}, 2, {235, p, 16, 240}},
  };
  for (const auto& [tags, planes, stride, expected] : cases) {
    Bytes file = BytesOf(std::string("YUV4MPEG2 ") + tags + "\nFRAME Ixyz\n");
    file.insert(file.end(), planes.begin(), planes.end());
    std::unique_ptr<FrameSource> source;
    Nv12Frame frame;
    bool at_end = true;
    ASSERT_EQ(MessageOf(OpenBytes(file, Options(0, 0, stride), &source)), "success") << tags;
    EXPECT_TRUE(!source->Next(&frame, &at_end) && !at_end) << tags;
    EXPECT_EQ(frame.bytes, expected) << tags;
    EXPECT_TRUE(!source->Next(&frame, &at_end) && at_end) << tags;
  }
}

TEST(Y4m, BadHeadersAreFailures) {
  std::istringstream headers(
      "| W4| H4|X W4 H4| W0 H4| W4 H-4| W-0 H4| W+4 H4| W H4| W4x H4| W4 W4 H4| W20000 H4"
      "| W99999999999999999999 H4| W16384 H16384| W4 H4 C| W4 H4 C420p10| W4 H4 C420 C444"
      "| W4 H4 F30| W4 H4 F30:x| W4 H4 F-30:1| W4 H4 A:| W4 H4 Q1");
  for (std::string header; std::getline(headers, header, '|');) {
    const Bytes bytes = BytesOf(std::string("YUV4MPEG2") + header + "\n");
    Y4mHeader parsed;
    EXPECT_TRUE(IsOneLine(ReadY4mHeader(*ReaderOf(bytes), &parsed))) << header;
  }
  std::unique_ptr<FrameSource> source;
  const std::string start = "YUV4MPEG2 W4 H4 X";
  const std::string longest = start + std::string(kMaxY4mLine - start.size(), 'x');
  EXPECT_FALSE(OpenBytes(BytesOf(longest + "\n"), Options(0, 0, 0), &source));
  EXPECT_TRUE(IsOneLine(OpenBytes(BytesOf(longest + "x\n"), Options(0, 0, 0), &source)));
}

// Reads all frames. Returns their number, or -1 after a failure.
int CountFrames(const Bytes& bytes, const FrameSourceOptions& options) {
  std::unique_ptr<FrameSource> source;
  if (OpenBytes(bytes, options, &source)) return -1;
  Nv12Frame frame;
  bool at_end = false;
  for (int count = 0;; ++count) {
    const Failure failure = source->Next(&frame, &at_end);
    if (failure) return IsOneLine(failure) ? -1 : -2;
    if (at_end) return count;
  }
}

TEST(FrameSource, StreamsEndAtFrameBordersOnly) {
  const std::string header = "YUV4MPEG2 W3 H3\n";
  const std::string frame(PlanarSize(ChromaLayout::kPairs, 3, 3), 'x');
  EXPECT_EQ(CountFrames(BytesOf(header + "FRAMES\n" + frame), Options(0, 0, 0)), -1);
  const std::tuple<std::string, std::string, FrameSourceOptions> cases[] = {
      {header, "FRAME\n" + frame, Options(0, 0, 0)}, {"", frame, Options(3, 3, 0)}};
  for (const auto& [start, piece, options] : cases) {
    const std::string whole = start + piece + piece;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      const bool at_border =
          size != 0 && size >= start.size() && (size - start.size()) % piece.size() == 0;
      const int expected = at_border ? static_cast<int>((size - start.size()) / piece.size()) : -1;
      EXPECT_EQ(CountFrames(BytesOf(whole.substr(0, size)), options), expected) << size;
    }
  }
}

TEST(Scene, FacesStayInsideAndApartAndMove) {
  for (const auto& [width, height] : {std::pair(16, 16), std::pair(17, 200), std::pair(1280, 720),
                                      std::pair(4000, 31), std::pair(16384, 16)}) {
    for (int faces = 1; faces <= kMaxSceneFaces; ++faces) {
      std::set<int> places;
      for (int64_t index = 0; index < 1100; ++index) {
        int column = 0;
        for (const Rect& face : SceneFaces(width, height, faces, index)) {
          ASSERT_TRUE(face.w >= 1 && face.h >= 1 && face.x >= column && face.y >= 0 &&
                      face.x + face.w <= width && face.y + face.h <= height)
              << width << "x" << height << " frame " << index;
          column = face.x + face.w;
        }
        places.insert(column);
      }
      EXPECT_GT(places.size(), width >= 1280 ? 100U : 0U);
    }
  }
}

Picture GroundPicture(int width, int height) {
  Picture picture = MakePicture(width, height);
  FillRectangle({0, 0, width, height}, {1, 2, 3}, &picture);
  return picture;
}

TEST(Annotate, ClippedDrawingEqualsACrop) {
  constexpr int kSide = 20;
  constexpr int kMargin = 80;
  for (int at = 0; at < 40 * 40; ++at) {
    const int x = at % 40 * 2 - 55;
    const int y = at / 40 - 15;
    Picture small = GroundPicture(kSide, kSide);
    Picture large = GroundPicture(kSide + 2 * kMargin, kSide + 2 * kMargin);
    DrawRectangle({x, y, 13, 9}, {200, 0, 0}, 2, &small);
    DrawRectangle({x + kMargin, y + kMargin, 13, 9}, {200, 0, 0}, 2, &large);
    DrawLabel(x, y + 5, "7%z", {0, 250, 0}, 2, &small);
    DrawLabel(x + kMargin, y + 5 + kMargin, "7%z", {0, 250, 0}, 2, &large);
    for (int row = 0; row < kSide; ++row) {
      ASSERT_EQ(0, std::memcmp(small.Pixel(0, row), large.Pixel(kMargin, row + kMargin),
                               std::size_t{kSide} * 3))
          << x << "," << y;
    }
  }
}

TEST(Annotate, ExtremeCoordinatesAreHarmless) {
  const Picture before = GroundPicture(8, 8);
  Picture picture = before;
  for (const int v : {INT_MIN, INT_MAX}) {
    DrawRectangle({v, v, INT_MAX, INT_MAX}, {9, 9, 9}, INT_MAX, &picture);
    DrawLabel(v, v, "text", {9, 9, 9}, v, &picture);
  }
  EXPECT_EQ(picture.rgb, before.rgb);
  const std::string text(5000, 'w');
  DrawLabelledFaces({{{INT_MAX, INT_MIN, INT_MAX, INT_MAX}, text, {9, 9, 9}}}, INT_MAX, {},
                    &picture);
}

uint64_t DigestOf(const Bytes& bytes) { return common::Digest(bytes.data(), bytes.size()); }

TEST(Annotate, LabelsCoverNoFaceWhereTheyFit) {
  std::mt19937 random(1);
  const auto any = [&](unsigned limit) { return static_cast<int>(random() % limit); };
  for (int round = 0; round < 200; ++round) {
    const Rect first = {any(40), any(130), 70, 70}, second = {120 + any(110), any(130), 70, 70};
    Picture picture = MakePicture(300, 200);
    DrawLabelledFaces({{first, "abc\ndefg", {9, 9, 9}}, {second, "abcdefghi", {9, 9, 9}}}, 2, {},
                      &picture);
    int changed = 0;
    for (int i = 0; i < 66 * 66; ++i) {
      changed += *picture.Pixel(first.x + 2 + i % 66, first.y + 2 + i / 66) != 0;
      changed += *picture.Pixel(second.x + 2 + i % 66, second.y + 2 + i / 66) != 0;
    }
    EXPECT_EQ(changed, 0) << round;
  }
}

// Covers the scene, labels with every glyph, and both conversions. After an intended change,
// inspect camsim's picture, then replace the digests.
TEST(Scene, DigestsAreUnchanged) {
  const std::pair<uint64_t, uint64_t> digests[] = {{13066746770772487407u, 12642458998098976843u},
                                                   {13542487510761951410u, 14249479121995146279u},
                                                   {14909245123273618416u, 4063216940227630776u}};
  for (int faces = 1; faces <= 3; ++faces) {
    Picture picture = DrawScene(641, 479, faces, 77 * faces);
    std::vector<LabelledFace> labelled = {{{600, 2, 30, 400}, "in the corner", {9, 9, 90}}};
    for (const Rect& face : SceneFaces(641, 479, faces, 77 * faces)) {
      labelled.push_back({face, "age 7.5\nprop 0.9", {9, 90, 9}});
    }
    DrawLabelledFaces(labelled, faces, {{0, 400, 641, 79}}, &picture);
    DrawLabel(1, 1, "0123456789.,:-+=%/#[]() \x7f", {90, 9, 9}, faces, &picture);
    DrawLabel(1, 90, "ABCDEFGHIJKLMNOPQRSTUVWXYZ", {90, 9, 9}, faces, &picture);
    DrawLabel(1, 120, "abcdefghijklmnopqrstuvwxyz", {90, 9, 9}, faces, &picture);
    Nv12Frame frame;
    ASSERT_FALSE(PictureToNv12(picture, 650, &frame));
    EXPECT_EQ(DigestOf(frame.bytes), digests[faces - 1].first) << faces;
    EXPECT_EQ(DigestOf(Nv12ToPicture(frame).rgb), digests[faces - 1].second) << faces;
  }
}

// Returns age, prop, gender and grade of the fake models for a picture's middle.
std::array<float, 4> FiguresOf(const Picture& picture) {
  const int w = picture.width, h = picture.height;
  Bytes bgr, gray;
  for (std::size_t i = 0; i < picture.rgb.size(); i += 3) {
    const uint8_t* rgb = picture.rgb.data() + i;
    bgr.insert(bgr.end(), {rgb[2], rgb[1], rgb[0]});
    gray.push_back(static_cast<uint8_t>((rgb[0] + 2 * rgb[1] + rgb[2]) / 4));
  }
  const QVAG_FaceResult age =
      QVAG_OneFaceAnalyze(gray.data(), bgr.data(), w, h, w / 4, h / 4, w - w / 4, h - h / 4, 1.0f);
  FaceGradeInterface grader;
  FaceGradeResult grade;
  grader.setFaceRect(w / 4, h / 4, w - w / 4 * 2, h - h / 4 * 2);
  grader.process(bgr.data(), w, h, grade, false);
  return {age.age / 68, age.prop, age.gender, grade.grade / 50};
}

// Every figure reacts to every change of a picture, so that no error on the way to a model stays
// hidden, and no figure saturates.
TEST(FakeModels, EveryFigureDetectsMirrorTurnShiftAndExchangedColours) {
  std::mt19937 random(1);
  for (int round = 0; round < 100; ++round) {
    Picture texture = MakePicture(160, 160);
    for (int blot = 0; blot < 60; ++blot) {
      const auto any = [&](unsigned limit) { return static_cast<int>(random() % limit); };
      const auto byte = [&] { return static_cast<uint8_t>(random() % 256); };
      const Rect rect = {any(140), any(140), 10 + any(60), 10 + any(60)};
      FillRectangle(rect, {byte(), byte(), byte()}, &texture);
    }
    Picture shifted = texture, exchanged = texture;
    std::rotate(shifted.rgb.begin(), shifted.rgb.begin() + 24, shifted.rgb.end());
    for (std::size_t i = 0; i < exchanged.rgb.size(); i += 3) {
      std::swap(exchanged.rgb[i], exchanged.rgb[i + 2]);
    }
    const std::array<float, 4> figures = FiguresOf(texture);
    for (const Picture& changed :
         {TurnUpright(texture, 2), TurnUpright(texture, 6), shifted, exchanged}) {
      const std::array<float, 4> others = FiguresOf(changed);
      for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NE(figures[i], others[i]) << round << " figure " << i;
        EXPECT_TRUE(others[i] > 0.02f && others[i] < (i == 3 ? 1.98f : 1.04f)) << others[i];
      }
    }
  }
}

TEST(Y4mWriter, RoundTrips) {
  for (const auto& [width, height] : {std::pair(6, 4), {7, 5}, {1, 1}}) {
    std::FILE* const file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    WriteY4mHeader(width, height, "30000:1001", file);
    std::vector<Nv12Frame> frames(3);
    for (Nv12Frame& frame : frames) {
      ASSERT_FALSE(PictureToNv12(GroundPicture(width, height), 64, &frame));
      frame.Luma()[0] = static_cast<uint8_t>(&frame - frames.data());
      WriteY4mFrame(frame, file);
    }
    std::rewind(file);
    std::unique_ptr<FrameSource> source;
    FrameSourceOptions options;
    options.stride = 64;
    ASSERT_FALSE(OpenFrameSource(std::make_unique<ByteReader>(file), options, &source));
    EXPECT_EQ(source->Rate(), "30000:1001");
    bool at_end = false;
    Nv12Frame read;
    for (const Nv12Frame& frame : frames) {
      ASSERT_FALSE(source->Next(&read, &at_end));
      EXPECT_EQ(read.bytes, frame.bytes);
    }
    ASSERT_FALSE(source->Next(&read, &at_end));
    EXPECT_TRUE(at_end);
  }
}

}  // namespace
}  // namespace media
