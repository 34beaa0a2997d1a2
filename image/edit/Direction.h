#pragma once

namespace nox::image::edit {

// A mirror, told for rows in storage order.
enum Direction : int {
  Horizontal = 0,  // each row is reversed: left and right change places
  Vertical = 1,    // the order of the rows is reversed: top and bottom change places
};

}  // namespace nox::image::edit
