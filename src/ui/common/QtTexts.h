// Qt's own texts (the standard buttons of message boxes, the context menus of
// text boxes) in the suite's language: Qt's translation of it, installed in the
// application, as programs of the suite would otherwise each have to do.
#pragma once

namespace paramcor::ui {

// The suite's language is now `language`. From any thread: the translation is
// installed at once when this is the application's thread, otherwise when the
// next window opens (showQtTextsInLanguage).
void followLanguage(short language);

// Installs the translation of the language last followed, unless it already is.
// Called by every window and message box as it opens, on the application's thread.
void showQtTextsInLanguage();

}  // namespace paramcor::ui
