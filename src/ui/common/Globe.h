// The turning globe of the language window: sixteen frames of the Earth seen
// from space, each a sixteenth of a turn further east.
#pragma once

#include <QImage>

namespace paramcor::ui {

constexpr int kGlobeFrames = 16;

// Frame 1 to 16, `size` pixels square, drawn on first use and kept.
QImage globeFrame(int frame, int size);

}  // namespace paramcor::ui
