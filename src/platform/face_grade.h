// SPDX-License-Identifier: Apache-2.0
// The closed face-grade library (libFaceGrade). It need not be thread-safe.
#ifndef ZY_PLATFORM_FACE_GRADE_H_
#define ZY_PLATFORM_FACE_GRADE_H_

#include <cstdint>

// The grade of one face and three further scores.
class FaceGradeResult {
 public:
  FaceGradeResult();

  float grade;
  float scores[3];
  uint8_t reserved[48];
};

class FaceGradeInterface {
 public:
  FaceGradeInterface();
  ~FaceGradeInterface();

  // Sets the face for the next process(), in pixels of its image.
  void setFaceRect(int x, int y, int width, int height);
  // Scores that face in `rgb` (width x height pixels of blue, green, red) into `result`.
  int process(const uint8_t* rgb, int width, int height, FaceGradeResult& result, bool flag);

 private:
  uint8_t reserved_[64];
};

#endif  // ZY_PLATFORM_FACE_GRADE_H_
