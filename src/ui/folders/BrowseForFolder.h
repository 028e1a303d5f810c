// Picking a folder with the system's folder chooser, as the folder editor does.
#pragma once

#include <QString>

class QWidget;

namespace paramcor::ui {

// The folder the user picks, starting at `start`, with native separators and no
// trailing one (a root keeps its own); "" when the user cancels or picks
// something that is not a folder of the file system.
QString BrowseForFolder(const QString& start, const QString& title, QWidget* owner);

// The path without its last character when that is the native separator.
QString StripTrailingBackslash(const QString& path);

}  // namespace paramcor::ui
