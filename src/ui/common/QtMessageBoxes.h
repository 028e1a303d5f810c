// The library's message boxes as Qt message boxes: buttons, icon and default
// button from the flags the system message box takes, and its answers.
#pragma once

#include <CVLParamcor/Platform.h>

namespace paramcor::ui {

class QtMessageBoxes final : public MessageBoxes {
public:
    // The library's title when `title` is null.
    static inline const QString kDefaultTitle = QStringLiteral("CVLParamcor");

    int show(const QString& text, int flags, const QString& title) override;
    void beep() override;
};

}  // namespace paramcor::ui
