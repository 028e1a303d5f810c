#include "Parser.h"

#include "Output.h"
#include "Wording.h"

namespace paramcor::tool {
namespace {

void add(Arguments& parsed, const Option& option, const QString& value) {
    const QString name = QLatin1String(option.name);
    if (parsed.options.contains(name))
        throw UsageError(QStringLiteral("--%1 is given twice").arg(name));
    parsed.options.insert(name, value);
}

// The value of an option that takes one: after "=" or the next word.
QString valueOf(const Option& option, const QStringList& arguments, qsizetype& i, qsizetype equals) {
    if (equals >= 0)
        return arguments[i].mid(equals + 1);
    if (i + 1 < arguments.size())
        return arguments[++i];
    throw UsageError(QStringLiteral("--%1 needs a value").arg(QLatin1String(option.name)));
}

Arguments split(const QStringList& arguments) {
    Arguments parsed;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& word = arguments[i];
        if (optionsEnded || word.size() < 2 || !word.startsWith(u'-') || word.at(1).isDigit()) {
            parsed.words << word;
        } else if (word == QLatin1String("--")) {
            optionsEnded = true;
        } else if (word.startsWith(QLatin1String("--"))) {
            const qsizetype equals = word.indexOf(u'=');
            const QString name = word.mid(2, equals < 0 ? -1 : equals - 2);
            const Option* option = findOption(name);
            if (!option)
                throw UsageError(QStringLiteral("unknown option --%1").arg(name));
            if (!option->valueName && equals >= 0)
                throw UsageError(QStringLiteral("--%1 takes no value").arg(name));
            add(parsed, *option, option->valueName ? valueOf(*option, arguments, i, equals) : QString());
        } else {
            for (const QChar letter : word.mid(1)) {
                const Option* option = findLetter(letter);
                if (!option)
                    throw UsageError(QStringLiteral("unknown option -%1").arg(letter));
                if (option->valueName)
                    throw UsageError(QStringLiteral("-%1 needs a value").arg(letter));
                add(parsed, *option, QString());
            }
        }
    }
    return parsed;
}

const Command* findCommand(const QStringList& words) {
    for (const Command& command : commands())
        if (words.mid(0, command.name.size()) == command.name)
            return &command;
    return nullptr;
}

}  // namespace

int parseNumber(const QString& text, int low, int high, const QString& what) {
    bool ok = false;
    const int number = text.trimmed().toInt(&ok);
    if (!ok || number < low || number > high)
        throw UsageError(
            tr("%1 must be a whole number from %2 to %3, not \"%4\"").arg(what).arg(low).arg(high).arg(text));
    return number;
}

ParsedLine parseCommandLine(const QStringList& arguments) {
    ParsedLine line;
    line.arguments = split(arguments);
    const QStringList& words = line.arguments.words;
    line.help = line.arguments.has(QStringLiteral("help"));
    line.version = line.arguments.has(QStringLiteral("version")) && !line.help;
    if (line.arguments.has(QStringLiteral("attesa")))
        parseNumber(line.arguments.value(QStringLiteral("attesa")), 0, 3600, QStringLiteral("--attesa"));
    if (words.isEmpty()) {
        if (line.help || line.version)
            return line;
        throw UsageError(QStringLiteral("no command given (paramcor --help lists them)"));
    }
    line.command = findCommand(words);
    if (!line.command) {
        const bool grouped = groups().contains(words.first());
        if (grouped && words.size() == 1) {
            if (line.help) {
                line.group = words.first();
                return line;
            }
            throw UsageError(
                QStringLiteral("%1 needs a subcommand (paramcor %1 --help lists them)").arg(words.first()));
        }
        throw UsageError(QStringLiteral("unknown command \"%1\" (paramcor --help lists them)")
                             .arg(words.mid(0, grouped ? 2 : 1).join(u' ')));
    }
    if (line.help)
        return line;

    const Command& command = *line.command;
    setCurrentCommand(command.name.join(u' '));
    for (auto it = line.arguments.options.cbegin(); it != line.arguments.options.cend(); ++it)
        if (!commonOptions().contains(it.key()) && !command.options.contains(it.key()))
            throw UsageError(QStringLiteral("there is no option --%1 here").arg(it.key()));
    line.operands = words.mid(command.name.size());
    const auto usage = [&] {
        return QStringLiteral("paramcor %1 %2").arg(command.name.join(u' '), command.operandLine()).trimmed();
    };
    if (line.operands.size() < command.minOperands())
        throw UsageError(QStringLiteral("missing %1 (usage: %2)")
                             .arg(command.operandLine().section(u' ', static_cast<int>(line.operands.size()),
                                                                command.minOperands() - 1),
                                  usage()));
    if (line.operands.size() > command.maxOperands())
        throw UsageError(QStringLiteral("too many arguments from \"%1\" on (usage: %2)")
                             .arg(line.operands.at(command.maxOperands()), usage()));
    return line;
}

}  // namespace paramcor::tool
