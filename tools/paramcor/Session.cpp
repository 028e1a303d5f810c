#include "Session.h"

#include "WaitingStore.h"
#include "Wording.h"

#include <CVLParamcor/Languages.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace paramcor::tool {

// Every message box of the library becomes a line on standard error, answered with
// its default button as the headless library would. Critical messages and those
// that say ERROR make the run fail.
class ToolMessages final : public MessageBoxes {
public:
    int show(const QString& text, int flags, const QString& title) override {
        if (holding_)
            held_.push_back({text, flags, title});
        else
            say(text, flags, title);
        const int buttons = flags & 7;
        const bool second = (flags & mb::DefaultButton2) != 0;
        if (buttons == 1)
            return second ? mb::Cancel : mb::Ok;
        if (buttons == 3 || buttons == 4)
            return second ? mb::No : mb::Yes;
        return mb::Ok;
    }

    int errors() const { return errors_; }

    // While holding, messages are kept back instead of said.
    void hold(bool on) { holding_ = on; }
    bool holding() const { return holding_; }
    std::size_t heldCount() const { return held_.size(); }
    void dropHeldFrom(std::size_t count) { held_.resize(std::min(count, held_.size())); }

private:
    struct Held {
        QString text;
        int flags;
        QString title;
    };

    void say(const QString& text, int flags, const QString& title) {
        QString line = text;
        line.replace(QRegularExpression(QStringLiteral("\\s*\\n+\\s*")), QStringLiteral(" "));
        line = line.trimmed();
        if (!title.isNull() && title.compare(QLatin1String("CVLParamcor"), Qt::CaseInsensitive) != 0)
            line = title + QStringLiteral(": ") + line;
        const int icon = flags & 0x70;
        const bool error = icon == mb::Critical || text.startsWith(QLatin1String("error"), Qt::CaseInsensitive);
        if (error)
            ++errors_;
        const QString kind = error ? QString() : icon == mb::Exclamation ? tr("warning: ") : tr("note: ");
        std::fprintf(stderr, "%s%s%s\n", qUtf8Printable(errorPrefix()), qUtf8Printable(kind), qUtf8Printable(line));
    }

    int errors_ = 0;
    bool holding_ = false;
    std::vector<Held> held_;
};

// The store with one value in memory: "Lingua" of the suite's key in the current
// user's hive, while a command asks for another language than the user's. Reads
// of it give that language and writes of it stay here; everything else goes to
// the store itself.
class LanguageOverride final : public RegistryStore {
public:
    explicit LanguageOverride(std::shared_ptr<RegistryStore> store) : store_(std::move(store)) {}

    RegistryStore& store() { return *store_; }
    std::shared_ptr<RegistryStore> shared() { return store_; }

    void set(const std::string& suiteKey, short language) {
        const std::lock_guard lock(mutex_);
        suiteKey_ = fold(suiteKey);
        const std::string text = std::to_string(language);
        language_.assign(text.begin(), text.end());
        active_ = true;
    }

    void forbidWrites() { readOnly_ = true; }

    // A reading command makes no key: the library, which makes the keys it reads,
    // gets the key that is there, or an empty one that lives here (nothing the
    // command reads is missing for a fault of the store).
    long createKey(Hive hive, const std::string& path, KeyHandle* key) override {
        if (!readOnly_)
            return remember(hive, path, key, store_->createKey(hive, path, key));
        const long rc = remember(hive, path, key, store_->openKey(hive, path, key));
        return rc == regerr::FileNotFound && key ? virtualKey(hive, path, key) : rc;
    }
    long openKey(Hive hive, const std::string& path, KeyHandle* key) override {
        const long rc = remember(hive, path, key, store_->openKey(hive, path, key));
        // A store that may not be written and has no suite key yet (help on a new
        // account): the chosen language still answers, from a key that lives here.
        if (rc == regerr::FileNotFound && readOnly_ && key && hive == Hive::CurrentUser && active_ &&
            fold(path) == suiteKey_)
            return virtualKey(hive, path, key);
        return rc;
    }
    long queryValue(KeyHandle key, const std::string& name, std::uint32_t* type, std::vector<std::uint8_t>* data,
                    std::uint32_t capacity, std::uint32_t* size) override {
        {
            const std::lock_guard lock(mutex_);
            if (isLanguage(key, name)) {
                if (type)
                    *type = regtype::String;
                if (size)
                    *size = static_cast<std::uint32_t>(language_.size());
                if (!data)
                    return regerr::Success;
                if (language_.size() > capacity)
                    return regerr::MoreData;
                *data = language_;
                return regerr::Success;
            }
        }
        if (isVirtual(key))
            return regerr::FileNotFound;
        return store_->queryValue(key, name, type, data, capacity, size);
    }
    long setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                  const std::vector<std::uint8_t>& data) override {
        {
            const std::lock_guard lock(mutex_);
            if (isLanguage(key, name)) {
                if (type == regtype::String)
                    language_ = data;
                return regerr::Success;
            }
        }
        const long rc = readOnly_ ? regerr::AccessDenied : store_->setValue(key, name, type, data);
        if (rc != regerr::Success) {
            const std::lock_guard lock(mutex_);
            ++failedWrites_;
            lastFailure_ = rc;
        }
        return rc;
    }
    long closeKey(KeyHandle key) override {
        {
            const std::lock_guard lock(mutex_);
            suiteKeys_.erase(key);
            if (virtualKeys_.erase(key) != 0)
                return regerr::Success;
        }
        return store_->closeKey(key);
    }
    long enumKey(KeyHandle key, std::uint32_t index, std::string* name) override {
        if (isVirtual(key))
            return regerr::NoMoreItems;
        return store_->enumKey(key, index, name);
    }
    std::string changeFile(Hive hive) const override { return store_->changeFile(hive); }
    long changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes) override {
        return store_->changesSince(hive, position, changes);
    }
    long flushKey(KeyHandle key) override { return store_->flushKey(key); }
    long beginReading(Hive hive) override { return store_->beginReading(hive); }
    long endReading(Hive hive) override { return store_->endReading(hive); }
    long notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) override {
        return store_->notifyChange(key, subtree, event);
    }
    long deleteValue(KeyHandle key, const std::string& name) override {
        return readOnly_ ? regerr::AccessDenied : store_->deleteValue(key, name);
    }
    long deleteTree(KeyHandle key, const std::string& path) override {
        return readOnly_ ? regerr::AccessDenied : store_->deleteTree(key, path);
    }
    long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                   std::vector<std::uint8_t>* data) override {
        if (isVirtual(key))
            return regerr::NoMoreItems;
        return store_->enumValue(key, index, name, type, data);
    }
    long beginBatch(Hive hive) override { return readOnly_ ? regerr::AccessDenied : store_->beginBatch(hive); }
    long commitBatch(Hive hive) override { return store_->commitBatch(hive); }
    long abortBatch(Hive hive) override { return store_->abortBatch(hive); }
    std::string diagnostic(Hive hive) override { return store_->diagnostic(hive); }

    // The writes the store refused, which the library passes over in silence.
    int failedWrites() const {
        const std::lock_guard lock(mutex_);
        return failedWrites_;
    }
    long lastFailure() const {
        const std::lock_guard lock(mutex_);
        return lastFailure_;
    }
    std::string location(Hive hive) const override { return store_->location(hive); }

private:
    // Handles counted down from the top, which no store hands out.
    long virtualKey(Hive hive, const std::string& path, KeyHandle* key) {
        const std::lock_guard lock(mutex_);
        *key = nextVirtualKey_--;
        virtualKeys_.insert(*key);
        if (hive == Hive::CurrentUser && active_ && fold(path) == suiteKey_)
            suiteKeys_.insert(*key);
        return regerr::Success;
    }
    bool isVirtual(KeyHandle key) const {
        const std::lock_guard lock(mutex_);
        return virtualKeys_.count(key) != 0;
    }

    // The suite's key paths are ASCII; the library composes them without doubled
    // or trailing backslashes.
    static std::string fold(std::string text) {
        for (char& c : text)
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
        return text;
    }

    long remember(Hive hive, const std::string& path, KeyHandle* key, long rc) {
        const std::lock_guard lock(mutex_);
        if (rc == regerr::Success && key && hive == Hive::CurrentUser && active_ && fold(path) == suiteKey_)
            suiteKeys_.insert(*key);
        return rc;
    }

    bool isLanguage(KeyHandle key, const std::string& name) const {
        return active_ && suiteKeys_.count(key) != 0 && fold(name) == "LINGUA";
    }

    std::shared_ptr<RegistryStore> store_;
    mutable std::mutex mutex_;
    std::atomic<bool> readOnly_ = false;
    int failedWrites_ = 0;
    long lastFailure_ = regerr::Success;
    bool active_ = false;
    std::string suiteKey_;
    std::vector<std::uint8_t> language_;
    std::set<KeyHandle> suiteKeys_;
    std::set<KeyHandle> virtualKeys_;
    KeyHandle nextVirtualKey_ = ~KeyHandle{0} - 1;
};

Session::Session(const Arguments& arguments) : messages_(std::make_shared<ToolMessages>()) {
    Platform p;
    std::shared_ptr<RegistryStore> store;
    SqliteRegistryStore::Options options;
    if (arguments.has(QStringLiteral("attesa")))
        options.busyTimeoutMs =
            parseNumber(arguments.value(QStringLiteral("attesa")), 0, 3600, QStringLiteral("--attesa")) * 1000;
    // The library would tell of a machine store that may not be written at once, in
    // English, from inside the store; the tool tells it once the command is done.
    options.refused = [this](const std::string& file) {
        if (file.ends_with("HKEY_LOCAL_MACHINE.db"))
            refusedMachineFile_ = QString::fromStdString(file);
    };
    if (arguments.has(QStringLiteral("registro"))) {
        const QString folder = arguments.value(QStringLiteral("registro"));
        if (folder.isEmpty())
            throw UsageError(QStringLiteral("--registro needs a folder"));
        store = std::make_shared<SqliteRegistryStore>(QDir(folder).absolutePath().toStdString(), options);
    } else {
        store = defaultRegistryStore(options);
    }
    files_ = dynamic_cast<const SqliteRegistryStore*>(store.get());
    store_ = std::make_shared<LanguageOverride>(std::make_shared<WaitingStore>(store, options.busyTimeoutMs / 1000));
    p.registry = store_;
    p.messages = messages_;
    if (arguments.has(QStringLiteral("installazione"))) {
        const QString folder = arguments.value(QStringLiteral("installazione"));
        if (!QFileInfo(folder).isDir())
            throw Failure(QStringLiteral("the installation folder %1 does not exist").arg(folder));
        p.libraryFolder = QDir(folder).absolutePath();
    }
    installPlatform(p);
}

Session::~Session() {
    parametri_.reset();
    installPlatform(Platform{});
}

RegistryStore& Session::store() {
    return *store_;
}

const SqliteRegistryStore* Session::hiveFiles() const {
    return files_;
}

RegistryStore& Session::baseStore() {
    return store_->store();
}

std::shared_ptr<RegistryStore> Session::sharedStore() {
    return store_->shared();
}

void Session::forbidWrites() {
    store_->forbidWrites();
}

Parametri& Session::parametri() {
    if (!parametri_) {
        const int mark = errors();
        parametri_ = std::make_unique<Parametri>();
        throwIfReportedSince(mark);
        if (language_ != 0) {
            store_->set(parametri_->RadReg().toStdString(), language_);
            parametri_->Lingua();  // the texts take it at once
        }
    }
    return *parametri_;
}

Parametri* Session::startedParametri() const {
    return parametri_.get();
}

void Session::startForTexts() {
    if (!parametri_)
        quietly([this] {
            parametri_ = std::make_unique<Parametri>();
            if (language_ != 0) {
                store_->set(parametri_->RadReg().toStdString(), language_);
                parametri_->Lingua();
            }
        });
}

void Session::quietly(const std::function<void()>& work) {
    const bool holding = messages_->holding();
    const std::size_t kept = messages_->heldCount();
    messages_->hold(true);
    work();
    messages_->dropHeldFrom(kept);
    messages_->hold(holding);
}

void Session::overrideLanguage(short language) {
    language_ = language;
    if (parametri_) {
        store_->set(parametri_->RadReg().toStdString(), language_);
        parametri_->Lingua();
    }
}

int Session::failedWrites() const {
    return store_->failedWrites();
}

long Session::lastFailedWrite() const {
    return store_->lastFailure();
}

QString Session::storeError(Hive hive, long code) {
    return paramcor::tool::storeError(*store_, hive, code);
}

QString storeError(RegistryStore& store, Hive hive, long code) {
    QString text = QStringLiteral("error %1").arg(code);
    const QString why = QString::fromStdString(store.diagnostic(hive));
    if (!why.isEmpty())
        return text + QStringLiteral(": ") + why;
    if (code == regerr::SharingViolation)
        return text + QStringLiteral(": another program holds the store");
    if (code == regerr::AccessDenied)
        return text + QStringLiteral(": the store may not be written");
    if (code == regerr::NameTooLong)
        return text + QStringLiteral(
                          ": a key deeper than %1 levels or a key path longer than %2 characters, the "
                          "registry's limits")
                          .arg(reglimit::KeyDepth)
                          .arg(reglimit::KeyPath);
    return text;
}

// The machine's settings are shared by the suite's operators; a user outside their
// group may read them and not change them, which a command that tried is told, once.
void Session::tellRefusedMachineWrites() {
    if (refusedMachineFile_.isEmpty())
        return;
    const QString file = std::exchange(refusedMachineFile_, QString());
    struct stat st {};
    if (::stat(QFile::encodeName(file).constData(), &st) != 0)
        return;
    const passwd* user = ::getpwuid(::geteuid());
    const QString name = user ? QString::fromLocal8Bit(user->pw_name) : QString::number(::geteuid());
    const group* owners = ::getgrgid(st.st_gid);
    QString text;
    if (owners != nullptr && st.st_gid != 0 && (st.st_mode & S_IWGRP) != 0)
        text = tr("the machine settings are read-only for the user %1: only the group %2 may change %3; an "
                  "administrator adds an operator with \"adduser %1 %2\", which counts from the next login")
                   .arg(name, QString::fromLocal8Bit(owners->gr_name), file);
    else
        text = tr("the machine settings are read-only for the user %1: %2 may not be written").arg(name, file);
    std::fprintf(stderr, "%s%s%s\n", qUtf8Printable(errorPrefix()), qUtf8Printable(tr("warning: ")),
                 qUtf8Printable(text));
}

bool Session::failed() const {
    return messages_->errors() > 0;
}

int Session::errors() const {
    return messages_->errors();
}

void Session::throwIfReportedSince(int mark) const {
    if (messages_->errors() > mark)
        throw Reported();
}

QString languageName(int language) {
    const LanguageInfo* info = languageInfo(language);
    if (info && !info->ownName.isEmpty())
        return info->ownName;
    return tr("language %1, unnamed").arg(language);
}

}  // namespace paramcor::tool
