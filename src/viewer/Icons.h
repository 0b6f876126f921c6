#pragma once

#include <QIcon>

class QPalette;

/// Small pictures for the viewer's buttons, drawn in the window's own colours.
///
/// thread  main
namespace ovelo::viewer_icons {

QIcon speaker(const QPalette& palette);
QIcon mutedSpeaker(const QPalette& palette);
QIcon record(const QPalette& palette);
QIcon recordings(const QPalette& palette);
QIcon moon(const QPalette& palette);
QIcon turnLeft(const QPalette& palette);
QIcon turnRight(const QPalette& palette);

} // namespace ovelo::viewer_icons
