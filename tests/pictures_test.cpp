// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sstream>

#include "pictures/annotate.h"
#include "pictures/frame_source.h"
#include "pictures/scene.h"
#include "pictures/y4m.h"

namespace pictures {
namespace {

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
  png_alloc_size_t size = 0;
  EXPECT_NE(png_image_write_get_memory_size(image, size, 0, pixels, 0, map), 0);
  Bytes bytes(size);
  EXPECT_NE(png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels, 0, map), 0);
  bytes.resize(size);
  return bytes;
}

// A gray picture of 16 bits without any colour space information; cut short unless it is of one
// pixel.
Bytes EncodeGray16(png_uint_32 width, png_uint_32 height) {
  Bytes bytes;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  const auto append = [](png_structp from, png_bytep data, std::size_t size) {
    auto* to = static_cast<Bytes*>(png_get_io_ptr(from));
    to->insert(to->end(), data, data + size);
  };
  png_set_write_fn(png, &bytes, append, [](png_structp) {});
  png_set_IHDR(png, info, width, height, 16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_BASE, PNG_FILTER_TYPE_BASE);
  png_write_info(png, info);
  const uint8_t row[2] = {0x80, 0x80};
  if (width == 1) {
    png_write_row(png, row);
    png_write_end(png, info);
  } else {
    png_write_chunk(png, reinterpret_cast<png_const_bytep>("IDAT"), row, 2);
  }
  png_destroy_write_struct(&png, &info);
  return bytes;
}

Bytes EncodeJpeg(const Picture& picture, int flags) {
  tjhandle encoder = tjInitCompress();
  unsigned char* data = nullptr;
  unsigned long size = 0;
  EXPECT_EQ(0, tjCompress2(encoder, picture.rgb.data(), picture.width, 0, picture.height, TJPF_RGB,
                           &data, &size, TJSAMP_420, 90, flags));
  const Bytes bytes(data, data + size);
  tjFree(data);
  tjDestroy(encoder);
  return bytes;
}

Bytes EncodePng(const Picture& picture) {
  return EncodePng(picture.rgb.data(), picture.width, picture.height, PNG_FORMAT_RGB);
}

Failure Decode(const Bytes& bytes, Picture* picture) {
  // An exact copy on the heap, so that the address sanitizer sees a read past its end.
  const Bytes exact(bytes);
  return DecodePicture(exact.data(), exact.size(), picture);
}

TEST(Picture, IsReadAsItWasWritten) {
  const std::string path = testing::TempDir() + "zy_sim_" + std::to_string(getpid());
  const Picture written = DrawScene(37, 19, 2, 5);
  ASSERT_FALSE(WritePng(path, written));
  Picture read;
  ASSERT_EQ(MessageOf(ReadPicture(path, &read)), "success");
  EXPECT_EQ(read.rgb, written.rgb);
  unlink(path.c_str());
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

TEST(Picture, JpegLooksLikeItsOriginal) {
  const Picture original = DrawScene(64, 48, 1, 0);
  for (const int flags : {0, TJFLAG_PROGRESSIVE}) {
    Picture picture;
    ASSERT_EQ(MessageOf(Decode(EncodeJpeg(original, flags), &picture)), "success");
    ASSERT_EQ(picture.rgb.size(), original.rgb.size());
    int64_t difference = 0;
    for (std::size_t i = 0; i < original.rgb.size(); ++i) {
      difference += std::abs(picture.rgb[i] - original.rgb[i]);
    }
    EXPECT_LT(difference, static_cast<int64_t>(original.rgb.size()) * 6);
  }
}

TEST(Picture, EveryCutIsAFailure) {
  const Picture original = DrawScene(24, 17, 1, 0);
  for (const Bytes& whole :
       {EncodePng(original), EncodeJpeg(original, 0), EncodeJpeg(original, TJFLAG_PROGRESSIVE)}) {
    Picture picture;
    ASSERT_FALSE(Decode(whole, &picture));
    for (std::size_t size = 0; size < whole.size(); ++size) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_TRUE(IsOneLine(Decode(cut, &picture))) << size;
    }
  }
}

TEST(Picture, ClaimedSizesAreCheckedBeforeMemoryIsTaken) {
  Picture picture;
  EXPECT_EQ(MessageOf(Decode(EncodeGray16(16385, 1), &picture)), "unusable size 16385x1");
  EXPECT_EQ(MessageOf(Decode(EncodeGray16(16384, 16384), &picture)), "unusable size 16384x16384");
  EXPECT_EQ(MessageOf(Decode(EncodeGray16(8192, 8192), &picture)),
            "damaged PNG: the file is cut short");
  Bytes jpeg = EncodeJpeg(MakePicture(8, 8), 0);
  const uint8_t frame_header[] = {0xff, 0xc0, 0, 17, 8};
  const auto at = std::search(jpeg.begin(), jpeg.end(), frame_header, frame_header + 5);
  ASSERT_NE(at, jpeg.end());
  at[5] = at[7] = 0x40;
  EXPECT_EQ(MessageOf(Decode(jpeg, &picture)), "unusable size 16392x16392");
  at[5] = at[7] = 0x10;
  EXPECT_EQ(MessageOf(Decode(jpeg, &picture)), "damaged JPEG: the file is cut short");
  at[1] = 0xc9;
  EXPECT_EQ(MessageOf(Decode(jpeg, &picture)), "JPEG with arithmetic coding is not supported");
}

TEST(ByteReader, HoldsTheLimit) {
  const Bytes content(3'000'000, 9);
  Bytes read;
  MemoryReader enough(content.data(), content.size());
  EXPECT_FALSE(ReadToEnd(enough, content.size(), &read));
  EXPECT_EQ(read, content);
  MemoryReader too_much(content.data(), content.size());
  EXPECT_TRUE(IsOneLine(ReadToEnd(too_much, content.size() - 1, &read)));
}

Nv12Frame FlatFrame(Colour colour, int width, int height) {
  Picture picture = MakePicture(width, height);
  FillRectangle({0, 0, width, height}, colour, &picture);
  Nv12Frame frame;
  EXPECT_FALSE(PictureToNv12(picture, 0, &frame));
  return frame;
}

TEST(Nv12, PrimariesHaveTheirBt601Codes) {
  const std::pair<Colour, Bytes> cases[] = {
      {{0, 0, 0}, {16, 128, 128}},   {{255, 255, 255}, {235, 128, 128}},
      {{255, 0, 0}, {81, 90, 240}},  {{0, 255, 0}, {145, 54, 34}},
      {{0, 0, 255}, {41, 240, 110}}, {{255, 255, 0}, {210, 16, 146}},
  };
  for (const auto& [colour, expected] : cases) {
    const Nv12Frame frame = FlatFrame(colour, 2, 2);
    EXPECT_EQ(Bytes({frame.Luma()[0], frame.Chroma()[0], frame.Chroma()[1]}), expected);
  }
}

TEST(Nv12, FlatColoursComeBackWithinTwo) {
  for (int code = 0; code < 18 * 18 * 18; ++code) {
    const int rgb[3] = {code % 18 * 15, code / 18 % 18 * 15, code / 324 * 15};
    const Colour colour = {static_cast<uint8_t>(rgb[0]), static_cast<uint8_t>(rgb[1]),
                           static_cast<uint8_t>(rgb[2])};
    const Picture back = Nv12ToPicture(FlatFrame(colour, 3, 1));
    for (std::size_t i = 0; i < 9; ++i) ASSERT_NEAR(back.rgb[i], rgb[i % 3], 2) << code;
  }
}

TEST(Nv12, ChromaIsThatOfTheBlocksMeanAndPaddingKeepsItsByte) {
  Picture picture = MakePicture(3, 3);
  for (int i = 0; i < 9; ++i) picture.Pixel(i % 3, i / 3)[0] = static_cast<uint8_t>(i * 24);
  picture.Pixel(2, 2)[2] = 200;
  Nv12Frame frame;
  ASSERT_FALSE(PictureToNv12(picture, 6, &frame));
  ASSERT_EQ(frame.bytes.size(), 6U * 5);
  const uint8_t mean_red[] = {48, 84, 156};
  for (std::size_t i = 0; i < 3; ++i) {
    const Nv12Frame flat = FlatFrame({mean_red[i], 0, 0}, 2, 2);
    const uint8_t* pair = frame.Chroma() + i / 2 * 6 + i % 2 * 2;
    EXPECT_EQ(pair[0], flat.Chroma()[0]) << i;
    EXPECT_EQ(pair[1], flat.Chroma()[1]) << i;
  }
  const Nv12Frame corner = FlatFrame({192, 0, 200}, 1, 1);
  EXPECT_EQ(frame.Chroma()[8], corner.Chroma()[0]);
  EXPECT_EQ(frame.Chroma()[9], corner.Chroma()[1]);
  for (std::size_t y = 0; y < 5; ++y) {
    for (std::size_t x = y < 3 ? 3 : 4; x < 6; ++x) {
      EXPECT_EQ(frame.bytes[y * 6 + x], kPaddingByte);
    }
  }
}

Failure OpenBytes(const Bytes& bytes, const FrameSourceOptions& options,
                  std::unique_ptr<FrameSource>* source) {
  return OpenFrameSource(std::make_unique<MemoryReader>(bytes.data(), bytes.size()), options,
                         source);
}

FrameSourceOptions Options(int width, int height, int stride) {
  FrameSourceOptions options;
  options.input = "in";
  options.width = width;
  options.height = height;
  options.stride = stride;
  return options;
}

struct Y4mCase {
  const char* tags;
  Bytes planes;
  int stride;
  Bytes frame;
};

TEST(Y4m, EveryLayoutGivesTheFrameWorkedOutByHand) {
  constexpr uint8_t p = kPaddingByte;
  const Bytes nv12_3x3 = {1, 2, 3, p, 4, 5, 6, p, 7, 8, 9, p, 11, 101, 12, 102, 13, 103, 14, 104};
  const Bytes planes_3x3 = {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 101, 102, 103, 104};
  const Y4mCase cases[] = {
      {"W3 H3", planes_3x3, 4, nv12_3x3},
      {"W3 H3 F30:1 Ip A1:1 C420jpeg XYSCSS=420JPEG", planes_3x3, 4, nv12_3x3},
      {"W3 H3 C420mpeg2 F0:0", planes_3x3, 4, nv12_3x3},
      {"C420paldv H3 W3", planes_3x3, 4, nv12_3x3},
      {"W2 H2 C420", {1, 2, 3, 4, 50, 60}, 3, {1, 2, p, 3, 4, p, 50, 60, p}},
      {"W2 H2 C420", {1, 2, 3, 4, 50, 60}, 2, {1, 2, 3, 4, 50, 60}},
      {"W2 H2 C422", {1, 2, 3, 4, 50, 53, 60, 62}, 2, {1, 2, 3, 4, 52, 61}},
      {"W3 H3 C422",
       {1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 20, 31, 50, 60, 80, 100, 120, 131, 150, 160, 180},
       4,
       {1, 2, 3, p, 4, 5, 6, p, 7, 8, 9, p, 16, 116, 35, 135, 60, 160, 80, 180}},
      {"W2 H2 C444", {1, 2, 3, 4, 10, 20, 30, 42, 0, 0, 0, 255}, 2, {1, 2, 3, 4, 26, 64}},
      {"W3 H3 C444",
       {1,  2,  3,  4,  5,   6,   7,   8,   9,   0,   10,  20,  30, 41,
        50, 60, 70, 80, 100, 110, 120, 130, 141, 150, 160, 170, 180},
       4,
       {1, 2, 3, p, 4, 5, 6, p, 7, 8, 9, p, 20, 120, 35, 135, 65, 165, 80, 180}},
      {"W1 H1 C444", {1, 2, 3}, 2, {1, p, 2, 3}},
      {"W3 H1 Cmono", {1, 2, 3}, 4, {1, 2, 3, p, 128, 128, 128, 128}},
  };
  for (const Y4mCase& c : cases) {
    Bytes file = BytesOf(std::string("YUV4MPEG2 ") + c.tags + "\nFRAME Ixyz\n");
    file.insert(file.end(), c.planes.begin(), c.planes.end());
    std::unique_ptr<FrameSource> source;
    Nv12Frame frame;
    bool at_end = true;
    Failure failure = OpenBytes(file, Options(0, 0, c.stride), &source);
    if (!failure) failure = source->Next(&frame, &at_end);
    ASSERT_EQ(MessageOf(failure), "success") << c.tags;
    EXPECT_FALSE(at_end);
    EXPECT_EQ(frame.bytes, c.frame) << c.tags;
    EXPECT_FALSE(source->Next(&frame, &at_end));
    EXPECT_TRUE(at_end);
  }
}

TEST(Y4m, BadHeadersAreFailures) {
  std::istringstream headers(
      "| W4| H4|X W4 H4| W0 H4| W4 H-4| W-0 H4| W+4 H4| W H4| W4x H4| W4 W4 H4| W20000 H4"
      "| W99999999999999999999 H4| W16384 H16384| W4 H4 C| W4 H4 C420p10| W4 H4 C420 C444"
      "| W4 H4 F30| W4 H4 F30:x| W4 H4 F-30:1| W4 H4 A:| W4 H4 Q1");
  for (std::string header; std::getline(headers, header, '|');) {
    const Bytes bytes = BytesOf(std::string("YUV4MPEG2") + header + "\n");
    MemoryReader reader(bytes.data(), bytes.size());
    Y4mHeader parsed;
    EXPECT_TRUE(IsOneLine(ReadY4mHeader(reader, &parsed))) << header;
  }
  std::unique_ptr<FrameSource> source;
  const std::string start = "YUV4MPEG2 W4 H4 X";
  const std::string longest = start + std::string(kMaxY4mLine - start.size(), 'x');
  EXPECT_FALSE(OpenBytes(BytesOf(longest + "\n"), Options(0, 0, 0), &source));
  EXPECT_TRUE(IsOneLine(OpenBytes(BytesOf(longest + "x\n"), Options(0, 0, 0), &source)));
}

// Reads all frames. Returns how many came, or -1 after a failure.
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
  const std::string frame(DenseNv12Size(3, 3), 'x');
  const std::string header = "YUV4MPEG2 W3 H3\n";
  const std::string y4m = header + "FRAME\n" + frame + "FRAME\n" + frame;
  const std::string raw = frame + frame;
  const std::size_t y4m_frame = frame.size() + 6;
  for (std::size_t size = 0; size <= y4m.size(); ++size) {
    const bool at_border = size >= header.size() && (size - header.size()) % y4m_frame == 0;
    const int expected = at_border ? static_cast<int>((size - header.size()) / y4m_frame) : -1;
    EXPECT_EQ(CountFrames(BytesOf(y4m.substr(0, size)), Options(0, 0, 0)), expected) << size;
  }
  for (std::size_t size = 0; size <= raw.size(); ++size) {
    const bool at_border = size != 0 && size % frame.size() == 0;
    const int expected = at_border ? static_cast<int>(size / frame.size()) : -1;
    EXPECT_EQ(CountFrames(BytesOf(raw.substr(0, size)), Options(3, 3, 0)), expected) << size;
  }
  EXPECT_EQ(CountFrames(BytesOf(header + "FRAMES\n" + frame), Options(0, 0, 0)), -1);
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

TEST(Scene, RectanglesFrameTheSkinAndDrawingEndsAtTheBorder) {
  const Picture picture = DrawScene(1280, 720, 3, 77);
  for (const Rect& face : SceneFaces(1280, 720, 3, 77)) {
    const uint8_t* cheek = picture.Pixel(face.x + face.w / 2, face.y + face.h * 68 / 100);
    const uint8_t* left = picture.Pixel(face.x + 3, face.y + face.h * 49 / 100);
    const uint8_t* right = picture.Pixel(face.x + face.w - 4, face.y + face.h * 49 / 100);
    for (const uint8_t* skin : {cheek, left, right}) EXPECT_GT(skin[0], skin[2] + 20);
  }
  // Here the blue shirt leaves the picture at its left border only; it must not come back at the
  // right one.
  const Picture leaning = DrawScene(300, 400, 1, 256);
  EXPECT_GT(leaning.Pixel(0, 399)[2], leaning.Pixel(0, 399)[0] + 30);
  for (int y = 0; y < 400; ++y) EXPECT_LT(leaning.Pixel(299, y)[2], leaning.Pixel(299, y)[0] + 30);
}

Picture GroundPicture(int width, int height) {
  Picture picture = MakePicture(width, height);
  FillRectangle({0, 0, width, height}, {1, 2, 3}, &picture);
  return picture;
}

TEST(Annotate, ClippedDrawingIsTheCropOfTheWholeOne) {
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
    DrawRectangle({2, 2, INT_MIN, v}, {9, 9, 9}, 1, &picture);
    DrawLabel(v, v, "text", {9, 9, 9}, v, &picture);
  }
  EXPECT_EQ(picture.rgb, before.rgb);
  DrawLabelledFace({INT_MAX, INT_MIN, INT_MAX, INT_MAX}, std::string(5000, 'w'), {9, 9, 9}, INT_MAX,
                   &picture);
  EXPECT_NE(picture.rgb, before.rgb);
}

TEST(Annotate, EveryCharacterHasItsGlyph) {
  const std::string characters =
      "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.,:-+=%/#[]() \x7f";
  std::set<Bytes> glyphs;
  for (const char c : characters) {
    Picture picture = MakePicture(30, 30);
    DrawLabel(0, 0, std::string(1, c), {255, 255, 255}, 1, &picture);
    glyphs.insert(picture.rgb);
  }
  EXPECT_EQ(glyphs.size(), characters.size());
}

TEST(Annotate, FaceLabelsStayInThePicture) {
  const Rect box = LabelBox(0, 0, "ab", 1);
  const std::pair<Rect, Rect> cases[] = {
      {{10, 30, 20, 20}, {10, 30 - box.h, box.w, box.h}},
      {{10, 2, 20, 20}, {10, 22, box.w, box.h}},
      {{10, -5, 20, 80}, {10, 0, box.w, box.h}},
      {{55, 30, 9, 9}, {64 - box.w, 30 - box.h, box.w, box.h}},
  };
  for (const auto& [face, label] : cases) {
    Picture drawn = GroundPicture(64, 64);
    DrawLabelledFace(face, "ab", {9, 9, 9}, 1, &drawn);
    Picture expected = GroundPicture(64, 64);
    DrawRectangle(face, {9, 9, 9}, 1, &expected);
    DrawLabel(label.x, label.y, "ab", {9, 9, 9}, 1, &expected);
    EXPECT_EQ(drawn.rgb, expected.rgb) << face.x << "," << face.y;
  }
}

}  // namespace
}  // namespace pictures
