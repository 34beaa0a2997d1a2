#pragma once

namespace nox::image::edit {

// A clockwise turn, told for rows in storage order with the first row on top. The comment
// names the EXIF orientation that asks for each turn.
enum Rotation : int {
  Clockwise90 = 0,   // EXIF 6
  Clockwise180 = 1,  // EXIF 3
  Clockwise270 = 2,  // EXIF 8
};

}  // namespace nox::image::edit
