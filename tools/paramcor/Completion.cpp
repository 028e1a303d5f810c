#include "Completion.h"

#include "CommandTable.h"

namespace paramcor::tool {
namespace {

QString longNames(const QStringList& names) {
    QStringList words;
    for (const QString& name : names)
        words << QStringLiteral("--") + name;
    return words.join(u' ');
}

// How bash completes one word: a kind letter and, for fixed words, the words.
QString kind(Complete complete, const char* words) {
    switch (complete) {
        case Complete::File:
            return QStringLiteral("F");
        case Complete::Folder:
            return QStringLiteral("D");
        case Complete::Words:
            return QStringLiteral("W:") + QLatin1String(words);
        case Complete::Nothing:
            break;
    }
    return QStringLiteral("-");
}

QString completeReply(const QString& variable) {
    return QStringLiteral(
               "    case %1 in\n"
               "        F) COMPREPLY=($(compgen -f -- \"$cur\")) ;;\n"
               "        D) COMPREPLY=($(compgen -d -- \"$cur\")) ;;\n"
               "        W:*) COMPREPLY=($(compgen -W \"${%2#W:}\" -- \"$cur\")) ;;\n"
               "    esac\n")
        .arg(QStringLiteral("$") + variable, variable);
}

}  // namespace

QString bashCompletion() {
    QString script = QStringLiteral(
        "# bash completion for paramcor, written from its command table when it is built.\n"
        "_paramcor()\n"
        "{\n"
        "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} value=\n"
        "    case $prev in\n");
    QStringList valued;
    for (const Option& option : options()) {
        if (!option.valueName)
            continue;
        valued << QStringLiteral("--") + QLatin1String(option.name);
        script += QStringLiteral("        --%1) value='%2' ;;\n")
                      .arg(QLatin1String(option.name), kind(option.complete, option.words));
    }
    script += QStringLiteral(
                  "    esac\n"
                  "    if [[ -n $value ]]; then\n") +
              completeReply(QStringLiteral("value"))
                  .replace(QStringLiteral("\n    "), QStringLiteral("\n        "))
                  .prepend(QStringLiteral("    ")) +
              QStringLiteral(
                  "        return\n"
                  "    fi\n\n"
                  "    # The command's words so far, without options and their values.\n"
                  "    local i word skip=0 command=()\n"
                  "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                  "        word=${COMP_WORDS[i]}\n"
                  "        if ((skip)); then skip=0; continue; fi\n"
                  "        case $word in\n"
                  "            %1) skip=1 ;;\n"
                  "            -*) ;;\n"
                  "            *) command+=(\"$word\") ;;\n"
                  "        esac\n"
                  "    done\n\n")
                  .arg(valued.join(u'|'));

    QStringList topWords;
    for (const Command& command : commands())
        if (!topWords.contains(command.name.first()))
            topWords << command.name.first();
    QStringList everyCommand = commonOptions();
    for (const QString& name : globalOptions())
        if (!everyCommand.contains(name))
            everyCommand << name;
    script += QStringLiteral(
                  "    local choices= options=\"%1\" length=0 kinds=()\n"
                  "    case \"${command[*]}\" in\n"
                  "        \"\") choices=\"%2\"; options=\"%3\" ;;\n")
                  .arg(longNames(commonOptions()), topWords.join(u' '), longNames(everyCommand));
    for (const QString& group : groups()) {
        QStringList subcommands;
        for (const Command& command : commands())
            if (command.name.first() == group)
                subcommands << command.name.at(1);
        script += QStringLiteral("        %1) choices=\"%2\" ;;\n").arg(group, subcommands.join(u' '));
    }
    for (const Command& command : commands()) {
        const QString name = command.name.join(u' ');
        QStringList kinds;
        for (const Operand& operand : command.operands)
            kinds << QStringLiteral("'%1'").arg(kind(operand.complete, operand.words));
        script += QStringLiteral("        \"%1\"|\"%1 \"*) options+=\"%2\"; length=%3; kinds=(%4) ;;\n")
                      .arg(name, command.options.isEmpty() ? QString() : u' ' + longNames(command.options))
                      .arg(command.name.size())
                      .arg(kinds.join(u' '));
    }
    script += QStringLiteral(
                  "    esac\n"
                  "    if [[ $cur == -* ]]; then\n"
                  "        COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
                  "        return\n"
                  "    fi\n"
                  "    if [[ -n $choices ]]; then\n"
                  "        COMPREPLY=($(compgen -W \"$choices\" -- \"$cur\"))\n"
                  "        return\n"
                  "    fi\n"
                  "    local operand=${kinds[${#command[@]} - length]}\n") +
              completeReply(QStringLiteral("operand")) +
              QStringLiteral(
                  "}\n"
                  "complete -o default -F _paramcor paramcor\n");
    return script;
}

}  // namespace paramcor::tool
