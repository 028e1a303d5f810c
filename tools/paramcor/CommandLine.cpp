#include "CommandLine.h"

#include "Help.h"
#include "Output.h"
#include "Parser.h"
#include "regfile/RegFile.h"
#include "Session.h"
#include "SessionTexts.h"

#include <CVLParamcor/Languages.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <memory>

namespace paramcor::tool {
namespace {

void printVersion(Session& session) {
    printLine(QStringLiteral("paramcor " PARAMCOR_VERSION " (CVLParamcor " PARAMCOR_VERSION ")"));
    const SqliteRegistryStore* store = session.hiveFiles();
    if (!store)
        return;
    for (const Hive hive : {Hive::CurrentUser, Hive::LocalMachine, Hive::ClassesRoot})
        printLine(QStringLiteral("%1: %2").arg(regfile::hiveName(hive), QString::fromStdString(store->hiveFile(hive))));
}

// The language of --lingua for the tool's own texts, when it is one.
void applyLanguage(Session& session, const Arguments& arguments) {
    bool ok = false;
    const int language = arguments.value(QStringLiteral("lingua")).trimmed().toInt(&ok);
    if (ok && language >= 1 && language <= kLanguageColumns)
        session.overrideLanguage(static_cast<short>(language));
}

}  // namespace

int run(const QStringList& arguments) {
    // A wrong command line is refused before anything is opened: it touches nothing.
    const ParsedLine line = parseCommandLine(arguments);
    Session session(line.arguments);
    const SessionTexts texts(&session);
    applyLanguage(session, line.arguments);

    if (line.help || line.version || (line.command && line.command->reads))
        session.forbidWrites();  // help, the version and a read write nothing anywhere
    if (line.version) {
        printVersion(session);
    } else if (line.help) {
        session.startForTexts();  // the help in the user's language
        if (line.command)
            printCommandHelp(*line.command);
        else
            printOverview(line.group);
    } else {
        const int code = line.command->run(session, line.arguments, line.operands);
        session.tellRefusedMachineWrites();
        finishOutput();
        return session.failed() ? kFailed : code;
    }
    finishOutput();
    return kOk;
}

}  // namespace paramcor::tool
