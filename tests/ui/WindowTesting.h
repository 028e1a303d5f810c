// Driving the library's windows as a user would: an installation to run them
// on, and the next modal window caught from inside its event loop.
#pragma once

#include "support/TestPlatform.h"
#include "support/TextFiles.h"

#include <CVLParamcor/Parametri.h>

#include <QWidget>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace paramcor::test {

// The wordings of the windows in Italian, English and German, worded for the
// tests, so that a caption shows which database it came from.
std::vector<TextRow> windowTexts();

// The translation of `italian` in windowTexts() for language 2 or 3.
QString windowText(const QString& italian, short language);

// A library folder whose installation file declares the folder "Testi", holding
// the user text database with `texts` (and, once a Parametri object has been
// created, the five unit rows with their metric defaults).
class WindowInstallation {
public:
    explicit WindowInstallation(const std::vector<TextRow>& texts = windowTexts());

    TestPlatform& platform() { return platform_; }
    QString folder() const { return platform_.folder(); }
    QString textsFolder() const { return platform_.folder() + QStringLiteral("/Testi/"); }
    QString textDatabase() const { return textsFolder() + QStringLiteral("CvlTradU.mdb"); }

    // Stores the language for every program of the workstation.
    void setLanguage(short language);

private:
    TestPlatform platform_;
};

// Runs `action` on the next modal window that opens, from inside its event loop;
// fails the test when none opens. The window is left to the action to close;
// after a failure it is closed.
void onNextModal(const std::function<void(QWidget*)>& action);

// The child named `name` (objectName) of the given type; null after a failure.
template <class T>
T* child(const QObject* window, const QString& name) {
    T* found = window->findChild<T*>(name);
    EXPECT_NE(found, nullptr) << "no " << name.toStdString();
    return found;
}

// Shows the window as the active one, so that the focus moves as it would for a user.
void activate(QWidget* window);

// Clicks the toolbar button of the action whose objectName is `key`.
void clickToolbarButton(QWidget* window, const QString& key);

}  // namespace paramcor::test
