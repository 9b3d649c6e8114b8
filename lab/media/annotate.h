// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_ANNOTATE_H_
#define ZY_MEDIA_ANNOTATE_H_

#include <string>
#include <string_view>
#include <vector>

#include "common/geometry.h"
#include "media/picture.h"

namespace media {

// Draws into a picture. Coordinates and sizes are pixels and may be any integers; parts outside the
// picture are skipped. Any thread.

// Draws a rectangle's outline, `thickness` pixels wide, inwards from its border. Draws nothing for
// a rectangle without area or a thickness below 1.
void DrawRectangle(common::Rect rect, Colour colour, int thickness, Picture* picture);

// Fills a rectangle.
void FillRectangle(common::Rect rect, Colour colour, Picture* picture);

// Returns the scale at which a label is readable on a picture of this size, upright or not.
int LabelScale(int width, int height);

// Returns the box that DrawLabel fills for this text: characters of 5x7 dots in cells of 6x8, with
// a border of one dot, each dot `scale` pixels wide and high. A line break begins a new line.
// `scale` is limited to 1..64, the text to its first 256 characters.
common::Rect LabelBox(int x, int y, std::string_view text, int scale);

// Draws text on a dark box whose upper left corner is (x, y). The font has digits, Latin letters
// and . , : - + = % / # [ ] ( ); a hollow box replaces any other character.
void DrawLabel(int x, int y, std::string_view text, Colour colour, int scale, Picture* picture);

struct LabelledFace {
  common::Rect face;
  std::string text;
  Colour colour;
};

// Outlines faces and draws a label beside each, where it covers least of the faces, of other labels
// and of the boxes in `taken`; above the face in case of a tie. Labels lie inside the picture
// unless they are larger.
void DrawLabelledFaces(const std::vector<LabelledFace>& faces, int scale,
                       std::vector<common::Rect> taken, Picture* picture);

}  // namespace media

#endif  // ZY_MEDIA_ANNOTATE_H_
