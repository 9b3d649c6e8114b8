// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_PICTURES_ANNOTATE_H_
#define ZY_PICTURES_ANNOTATE_H_

#include <string_view>

#include "pictures/geometry.h"
#include "pictures/picture.h"

namespace pictures {

// Drawing into a picture. Coordinates and sizes are pixels and may be any integers: what lies
// outside the picture is left out. Any thread.

// Draws a rectangle's outline, `thickness` pixels wide, inwards from its border. A rectangle
// without area or a thickness below 1 draws nothing.
void DrawRectangle(Rect rect, Colour colour, int thickness, Picture* picture);

// Fills a rectangle.
void FillRectangle(Rect rect, Colour colour, Picture* picture);

// The box that DrawLabel fills for this text: characters of 5x7 dots in cells of 6x8, with a border
// of one dot, each dot `scale` pixels wide and high. `scale` is held to 1..64, the text to its
// first 256 characters.
Rect LabelBox(int x, int y, std::string_view text, int scale);

// Writes one line of text on a dark box whose upper left corner is (x, y). The font has digits,
// Latin letters and . , : - + = % / # [ ] ( ); a hollow box stands for any other character.
void DrawLabel(int x, int y, std::string_view text, Colour colour, int scale, Picture* picture);

// Outlines a face and labels it: above it, below it where there is no room above, else inside its
// upper left corner; moved left as far as the picture's right border asks.
void DrawLabelledFace(Rect face, std::string_view text, Colour colour, int scale, Picture* picture);

}  // namespace pictures

#endif  // ZY_PICTURES_ANNOTATE_H_
