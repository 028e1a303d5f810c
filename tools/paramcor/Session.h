// What the commands of one run share: the store, the installation, the messages of
// the library and the Parametri object, made when a command first needs it.
#pragma once

#include "Arguments.h"
#include "Output.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/RegistryStore.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <functional>
#include <memory>

namespace paramcor::tool {

class LanguageOverride;
class ToolMessages;

class Session {
public:
    explicit Session(const Arguments& arguments);
    ~Session();

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // The store as the library sees it.
    RegistryStore& store();
    // The store itself, without the language the run may have chosen.
    RegistryStore& baseStore();
    std::shared_ptr<RegistryStore> sharedStore();
    // The files of the store, when it keeps its hives in files; null otherwise.
    const SqliteRegistryStore* hiveFiles() const;

    // From now on the library's writes to the store are refused, as a user without
    // rights sees it: the command only reads.
    void forbidWrites();

    // The parameter object on the installation. Its creation reads the installation
    // file and opens (after delivering) the texts: Reported when that failed.
    Parametri& parametri();

    // The parameter object once a command has made it; null before.
    Parametri* startedParametri() const;
    // Makes it for nothing but the tool's own texts (the help), without a word:
    // a library that cannot start leaves the texts English.
    void startForTexts();
    // Runs `work` without the library's messages: a lookup of the tool's own
    // texts is no part of the command.
    void quietly(const std::function<void()>& work);

    // Makes the library see `language` as the current language while this run lasts,
    // without writing it: other programs of the user keep theirs.
    void overrideLanguage(short language);

    // The writes the store refused so far, and the code of the last one: the library
    // drops them without a word, as the registry of a user without rights does.
    int failedWrites() const;
    long lastFailedWrite() const;

    // A failed store call on `hive`, for a message: "error 32: <file> is held by...".
    QString storeError(Hive hive, long code);

    // Tells the user, in the user's language, when the command tried to change the
    // machine's settings and the store refused (a user outside the operators' group).
    void tellRefusedMachineWrites();

    // Whether the library showed an error message during the run.
    bool failed() const;

    // Throws Reported when the library has shown an error message since `mark`
    // (the number of errors then, from errors()).
    int errors() const;
    void throwIfReportedSince(int mark) const;

private:
    std::shared_ptr<ToolMessages> messages_;
    std::shared_ptr<LanguageOverride> store_;
    std::unique_ptr<Parametri> parametri_;
    short language_ = 0;
    const SqliteRegistryStore* files_ = nullptr;
    QString refusedMachineFile_;
};

// A failed call of `store` on `hive`, for a message: the registry's code and what
// the store can tell of the file, "error 32: <file> is held by another process...".
QString storeError(RegistryStore& store, Hive hive, long code);

// The own name of a language number: "Italiano", "English"..., "language 13, unnamed".
QString languageName(int language);

}  // namespace paramcor::tool
