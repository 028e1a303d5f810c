#include "Help.h"

#include "Output.h"
#include "Wording.h"

namespace paramcor::tool {
namespace {

QString usageLine(const Command& command) {
    QString line = QStringLiteral("paramcor ") + command.name.join(u' ');
    for (const QString& name : command.options) {
        const Option* option = findOption(name);
        line += QStringLiteral(" [--") + name;
        if (option && option->valueName)
            line += u' ' + QLatin1String(option->valueName);
        line += u']';
    }
    if (!command.operands.isEmpty())
        line += u' ' + command.operandLine();
    return line;
}

// "  -r, --ricorsivo       every key below too", the help in a column of its own.
QString optionLine(const Option& option) {
    QString left = option.letter ? QStringLiteral("-%1, ").arg(QLatin1Char(option.letter)) : QString();
    left += QStringLiteral("--") + QLatin1String(option.name);
    if (option.valueName)
        left += u' ' + QLatin1String(option.valueName);
    // The help wrapped to the terminal's customary 80 columns, in a column of its own.
    QStringList lines{QStringLiteral("  %1 ").arg(left, -20)};
    for (const QString& word : tr(QLatin1String(option.help)).split(u' ')) {
        if (lines.last().size() + word.size() > 79 && lines.last().size() > 23)
            lines << QString(23, u' ');
        lines.last() += word + u' ';
    }
    for (QString& line : lines)
        line.chop(1);
    return lines.join(u'\n');
}

void printOptions(const QString& title, const QStringList& names) {
    printLine(title);
    for (const QString& name : names)
        if (const Option* option = findOption(name))
            printLine(optionLine(*option));
}

void printExitCodes() {
    printLine(tr("Exit status:"));
    for (const ExitCodeMeaning& exit : exitCodes())
        printLine(QStringLiteral("  %1  %2").arg(exit.code).arg(tr(QLatin1String(exit.meaning))));
}

}  // namespace

void printCommandHelp(const Command& command) {
    printLine(tr("Usage: %1").arg(usageLine(command)));
    printLine();
    printLine(tr(QLatin1String(command.summary)));
    // The member's own help string is Italian, the library's documentation: only
    // its name here, so that the help stays in one language.
    if (command.member)
        printLine(QStringLiteral("(Parametri::%1)").arg(QLatin1String(command.member)));
    QString details = QLatin1String(command.details);
    if (!details.isEmpty())
        details = tr(details);
    if (command.moreHelp)
        details += (details.isEmpty() ? QString() : QStringLiteral("\n")) + command.moreHelp();
    if (!details.isEmpty()) {
        printLine();
        printLine(details);
    }
    if (!command.options.isEmpty()) {
        printLine();
        printOptions(tr("Options:"), command.options);
    }
    printLine();
    printOptions(tr("Options of every command:"), commonOptions());
}

void printOverview(const QString& group) {
    printLine(tr("Usage: paramcor COMMAND [OPTIONS] [ARGUMENTS]"));
    printLine();
    printLine(tr("Looks inside and changes what the CVLParamcor library keeps: parameters, folders, texts, units."));
    printLine();
    printLine(tr("Commands:"));
    for (const Command& command : commands()) {
        if (!group.isEmpty() && command.name.first() != group)
            continue;
        printLine(QStringLiteral("  %1\n      %2").arg(usageLine(command).mid(9), tr(QLatin1String(command.summary))));
    }
    printLine();
    printLine(tr("\"paramcor COMMAND --help\" tells more about each."));
    printLine();
    QStringList everyCommand = commonOptions();
    for (const QString& name : globalOptions())
        if (!everyCommand.contains(name))
            everyCommand << name;
    printOptions(tr("Options of every command:"), everyCommand);
    printLine();
    printExitCodes();
}

}  // namespace paramcor::tool
