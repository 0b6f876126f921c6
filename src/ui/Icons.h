#pragma once

#include <QIcon>

class QPalette;

/// The small pictures on buttons, drawn in the colours of the user's theme.
namespace ovelo::icons {

/// An arrow that goes round to the left (counter-clockwise).
QIcon rotateLeft(const QPalette& palette);

/// An arrow that goes round to the right (clockwise).
QIcon rotateRight(const QPalette& palette);

/// The program's own icon, from its resources.
QIcon application();

} // namespace ovelo::icons
