#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include "platform/LibraryFolder.h"
#include "platform/PlatformReplaced.h"
#include "platform/RegisteredWindows.h"
#include "platform/SystemCalls.h"
#include "store/PostgresRegistryStore.h"
#include "store/ShopCopy.h"
#include "store/StationRegistryStore.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QDateTime>
#include <QThread>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <vector>

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

// The machine's settings of a workstation are shared by the suite's operators. A
// user outside their group may read them and not change them: tell that user once
// per process, at the first change refused, rather than at every creation. A
// machine store nobody has set up is empty for everybody, and nothing to tell.
// A new platform is a new start: it is told again.
std::atomic<bool> toldReadOnlyMachineStore = false;

void tellReadOnlyMachineStore(const std::string& file) {
    struct stat st {};
    if (toldReadOnlyMachineStore.exchange(true) || ::stat(file.c_str(), &st) != 0)
        return;
    const passwd* user = ::getpwuid(::geteuid());
    const QString name = user ? QString::fromLocal8Bit(user->pw_name) : QString::number(::geteuid());
    const group* owners = ::getgrgid(st.st_gid);
    QString text = QStringLiteral("WARNING! The machine settings are read-only for the user %1:").arg(name);
    if (owners != nullptr && st.st_gid != 0 && (st.st_mode & S_IWGRP) != 0) {
        const QString group = QString::fromLocal8Bit(owners->gr_name);
        text += u'\n' + QStringLiteral("only the group %1 may change %2.").arg(group, QString::fromStdString(file));
        text += u'\n' + QStringLiteral("An administrator adds an operator with \"adduser %1 %2\"; it counts from "
                                        "the next login.")
                             .arg(name, group);
    } else {
        text += u'\n' + QStringLiteral("%1 may not be written.").arg(QString::fromStdString(file));
    }
    platform().messages->show(text, mb::Exclamation, QString());
}

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

std::vector<std::function<void()>>& releases() {
    static std::vector<std::function<void()>> registered;
    return registered;
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

void whenPlatformReplaced(std::function<void()> release) {
    releases().push_back(std::move(release));
}

void installPlatform(Platform replacement) {
    for (const auto& release : releases())
        release();
    fillDefaults(replacement);
    installed() = std::move(replacement);
    toldReadOnlyMachineStore = false;
}

std::shared_ptr<RegistryStore> defaultRegistryStore() {
    return defaultRegistryStore(SqliteRegistryStore::Options{});
}

std::shared_ptr<RegistryStore> defaultRegistryStore(const SqliteRegistryStore::Options& options) {
    const QString userFolder =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/CVLParamcor");
    SqliteRegistryStore::Options withNotice = options;
    if (!withNotice.refused)
        withNotice.refused = machineStoreOptions().refused;
    auto local = std::make_shared<SqliteRegistryStore>(userFolder.toStdString(), std::string("/var/lib/CVLParamcor"),
                                                       withNotice);
    // A station of a shop keeps its machine settings on the shop's server; the file
    // that says so lies beside the installation file (/etc/CVLParamcor/negozio.conf).
    const std::string shop = shopConnection((ownInstallationFolder() + QStringLiteral("/negozio.conf")).toStdString());
    if (shop.empty())
        return local;
    // Its copy, read in place of the server, lies in the user's folder: the machine
    // folder is the operators' alone, and every user's programs apply the changes.
    const std::string copy = userFolder.toStdString() + "/HKEY_LOCAL_MACHINE-shop";
    return std::make_shared<StationRegistryStore>(local, std::make_shared<PostgresRegistryStore>(shop),
                                                  std::make_shared<store::ShopCopy>(shop, copy));
}

SqliteRegistryStore::Options machineStoreOptions() {
    SqliteRegistryStore::Options options;
    options.refused = [](const std::string& file) {
        if (file.ends_with("HKEY_LOCAL_MACHINE.db"))
            tellReadOnlyMachineStore(file);
    };
    return options;
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
    return systemcalls::localeSeparators();
}

}  // namespace paramcor
