// Resolutions as cameras name them.
#pragma once

#include <string>

// The normalised form of a resolution text, "WIDTHxHEIGHT" in pixels. Knows
//   - width and height joined by x or X, with or without blanks around the numbers: " 1280 X 720 ";
//   - the names of picture formats in any case: "QVGA", "4CIF", "D1", "1080P", "4K" ... The formats of
//     analogue video, which differ between PAL and NTSC, are taken in PAL, their larger form.
// Any other text is given back as it stands.
std::string TextReso2Reso(const std::string& text);
