// What the tests of the folder windows and the text correction window share:
// the next modal window of a given kind caught from inside its event loop.
#pragma once

#include <QString>
#include <QWidget>

#include <functional>

namespace paramcor::test {

// Runs `action` on the next modal window whose objectName is `name`, from inside
// its event loop; fails the test when none opens. Windows of other names (the one
// that opened it, say) are passed over.
void onModalNamed(const QString& name, const std::function<void(QWidget*)>& action);

}  // namespace paramcor::test
