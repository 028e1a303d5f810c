#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include "param/registry/MainParametri.h"
#include "platform/RegisteredWindows.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStandardPaths>
#include <QDateTime>
#include <QThread>

#include <chrono>

#include <cstdio>

namespace paramcor {
namespace {

// Writes each message to standard error and answers with its default button, so
// that a program without windows neither blocks nor loses what it was told.
class HeadlessMessageBoxes final : public MessageBoxes {
public:
    int show(const QString& text, int flags, const QString& title) override {
        const QString shownTitle = title.isNull() ? QStringLiteral("CVLParamcor") : title;
        std::fprintf(stderr, "[%s] %s\n", qUtf8Printable(shownTitle), qUtf8Printable(text));
        const int buttons = flags & 7;
        const bool secondIsDefault = (flags & mb::DefaultButton2) != 0;
        switch (buttons) {
            case 1:
                return secondIsDefault ? mb::Cancel : mb::Ok;  // OK, Cancel
            case 3:                                            // Yes, No, Cancel
            case 4:
                return secondIsDefault ? mb::No : mb::Yes;  // Yes, No
            default:
                return mb::Ok;
        }
    }
};

RegisteredWindows& registered() {
    static RegisteredWindows windows;
    return windows;
}

// Chosen at each message, so that a program gets message boxes from the moment
// its QApplication exists, and text on standard error before and after.
class FollowingMessageBoxes final : public MessageBoxes {
public:
    int show(const QString& text, int flags, const QString& title) override {
        if (const auto windows = usableWindows().messages)
            return windows->show(text, flags, title);
        return headless_.show(text, flags, title);
    }
    void beep() override {
        if (const auto windows = usableWindows().messages)
            windows->beep();
    }

private:
    HeadlessMessageBoxes headless_;
};

void fillDefaults(Platform& p) {
    if (!p.registry)
        p.registry = defaultRegistryStore();
    if (!p.messages)
        p.messages = followingMessageBoxes();
    if (!p.dialogs)
        p.dialogs = followingDialogs();
    if (!p.timer)
        p.timer = secondsSinceMidnight;
    if (!p.separators)
        p.separators = systemSeparators;
}

Platform& installed() {
    static Platform current = [] {
        Platform p;
        fillDefaults(p);
        return p;
    }();
    return current;
}

}  // namespace

Platform& platform() {
    return installed();
}

void installPlatform(Platform replacement) {
    MainParametri::instance().reset();  // closes a key left open on the old store
    fillDefaults(replacement);
    installed() = std::move(replacement);
}

std::shared_ptr<RegistryStore> defaultRegistryStore() {
    const QString userFolder =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/CVLParamcor");
    return std::make_shared<SqliteRegistryStore>(userFolder.toStdString(), std::string("/var/lib/CVLParamcor"));
}

void registerWindows(std::shared_ptr<MessageBoxes> messages, std::shared_ptr<Dialogs> dialogs) {
    registered() = {std::move(messages), std::move(dialogs)};
}

RegisteredWindows usableWindows() {
    const QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr || !application->inherits("QApplication") ||
        application->thread() != QThread::currentThread())
        return {};
    return registered();
}

std::shared_ptr<Dialogs> registeredDialogs() {
    return registered().dialogs;
}

std::shared_ptr<MessageBoxes> followingMessageBoxes() {
    return std::make_shared<FollowingMessageBoxes>();
}

std::shared_ptr<MessageBoxes> headlessMessageBoxes() {
    return std::make_shared<HeadlessMessageBoxes>();
}

// Asked on every lookup of a text, so the time zone is looked up once a minute
// only: its offset can change (daylight saving time) only on a minute boundary.
double secondsSinceMidnight() {
    using namespace std::chrono;
    const auto since = system_clock::now().time_since_epoch();
    const qint64 seconds = duration_cast<std::chrono::seconds>(since).count();
    thread_local qint64 offsetValidUntil = 0;
    thread_local qint64 offset = 0;
    if (seconds >= offsetValidUntil) {
        offset = QDateTime::fromSecsSinceEpoch(seconds).offsetFromUtc();
        offsetValidUntil = (seconds / 60 + 1) * 60;
    }
    const double local = static_cast<double>(((seconds + offset) % 86400 + 86400) % 86400);
    return local + static_cast<double>(duration_cast<microseconds>(since).count() % 1000000) / 1e6;
}

Separators systemSeparators() {
    const QLocale locale = QLocale::system();
    return {locale.decimalPoint(), locale.groupSeparator()};
}

}  // namespace paramcor
