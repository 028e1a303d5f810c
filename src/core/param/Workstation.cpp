#include "param/Workstation.h"

#include "selection/MainParametri.h"
#include "platform/SystemCalls.h"

#include <CVLParamcor/Languages.h>
#include <CVLParamcor/Platform.h>

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>

#include <cfenv>

namespace paramcor::workstation {
namespace {

QString valueName(VersionRecord record) {
    switch (record) {
        case VersionRecord::Product:
            return QStringLiteral("Version");
        case VersionRecord::Upgrade:
            return QStringLiteral("Upgrade");
        case VersionRecord::Marble:
            return QStringLiteral("VersioneProdottoMarmo");
        case VersionRecord::Glass:
            return QStringLiteral("VersioneProdottoVetro");
        case VersionRecord::GlassCam:
            return QStringLiteral("VersioneProdottoVetroCam");
    }
    return QString();
}

// The maker's key in the local-machine store. The record of glass cutting has
// always cleared program and section once more: harmless, and kept.
void selectMakerKey(MainParametri& selection, VersionRecord record) {
    selection.selectHive(Hive::LocalMachine, false);
    if (record == VersionRecord::GlassCam) {
        selection.setProgram(QString());
        selection.setSection(QString());
    }
}

#ifndef Q_OS_WIN
// A desktop tool that refreshes a cache; one that is missing or hangs is no error:
// the files stay for the next desktop that looks.
void runDesktopTool(const QString& name, const QString& folder) {
    const QString program = QStandardPaths::findExecutable(name);
    if (program.isEmpty())
        return;
    QProcess tool;
    tool.setStandardOutputFile(QProcess::nullDevice());
    tool.setStandardErrorFile(QProcess::nullDevice());
    tool.start(program, {folder});
    if (tool.waitForStarted(5000) && !tool.waitForFinished(30000)) {
        tool.kill();
        tool.waitForFinished(5000);
    }
}

bool writeWhole(const QString& path, const QString& text) {
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0 && file.commit();
}

// Registers the document type the freedesktop way, in the user's data folder: a
// MIME type that matches the extension, and a desktop entry that opens it with the
// program (only when a program is given, as for the classes root).
void registerWithTheDesktop(const QString& extension, const QString& group, const QString& shell, bool withProgram) {
    static const QRegularExpression unsafe(QStringLiteral("[^a-z0-9.+-]"));
    static const QRegularExpression control(QStringLiteral("[\\x00-\\x1f]"));
    const QString name = group.toLower().replace(unsafe, QStringLiteral("-"));
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (name.isEmpty() || extension.isEmpty() || data.isEmpty() || group.contains(control) ||
        extension.contains(control) || shell.contains(control))
        return;
    const QString type = QStringLiteral("application/x-") + name;
    const QString id = QStringLiteral("cvlparamcor-") + name;
    const QString glob = u'*' + (extension.startsWith(u'.') ? extension : u'.' + extension);

    const QString mime = data + QStringLiteral("/mime");
    if (!QDir().mkpath(mime + QStringLiteral("/packages")) ||
        !writeWhole(mime + QStringLiteral("/packages/") + id + QStringLiteral(".xml"),
                    QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                   "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
                                   "  <mime-type type=\"%1\">\n"
                                   "    <comment>%2</comment>\n"
                                   "    <glob pattern=\"%3\"/>\n"
                                   "  </mime-type>\n"
                                   "</mime-info>\n")
                        .arg(type, group.toHtmlEscaped(), glob.toHtmlEscaped())))
        return;
    runDesktopTool(QStringLiteral("update-mime-database"), mime);
    if (!withProgram)
        return;

    // Exec quotes the program as the desktop entry format wants, then escapes the
    // backslashes once more as any string value.
    QString program = shell;
    for (const QChar c : {u'\\', u'"', u'`', u'$'})
        program.replace(c, QStringLiteral("\\") + c);
    program.replace(u'%', QStringLiteral("%%"));
    QString exec = u'"' + program + QStringLiteral("\" %f");
    exec.replace(u'\\', QStringLiteral("\\\\"));
    const QString applications = data + QStringLiteral("/applications");
    if (QDir().mkpath(applications) &&
        writeWhole(applications + u'/' + id + QStringLiteral(".desktop"),
                   QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\nMimeType=%3;\n"
                                  "NoDisplay=true\n")
                       .arg(group, exec, type)))
        runDesktopTool(QStringLiteral("update-desktop-database"), applications);
}
#endif

void regionalError(const QString& problem) {
    platform().messages->show(
        QStringLiteral("ERROR:") + u'\n' + problem + u'\n' + QStringLiteral("Check your international settings"),
        mb::Critical, QStringLiteral("CvlParamcor"));
}

}  // namespace

QString queryTempFolder() {
    const QString folder = systemcalls::temporaryFolder();
    if (folder.isEmpty())
        platform().messages->show(QStringLiteral("Cannot query TempDirectory"), mb::Critical,
                                  QStringLiteral("CVLParamCor"));
    return folder;
}

QString createTempFile(const QString& folder, const QString& prefix) {
    return folder.isEmpty() ? QString() : systemcalls::temporaryFile(folder, prefix);
}

void clearPendingErrors() {
    std::feclearexcept(FE_ALL_EXCEPT);
}

QString makerKey(const MainParametri& selection) {
    return QStringLiteral("SOFTWARE") + selection.registryRoot();
}

// The scopes below put back hive, program and section as a Pop would, and leave the
// no-maker-root flag as the calls set it.

QString readVersion(MainParametri& selection, VersionRecord record) {
    const SelectionScope saved(selection);
    selectMakerKey(selection, record);
    const QString value = selection.ReadString(valueName(record), QString());
    if (record == VersionRecord::Product)
        selection.selectHive(Hive::CurrentUser, false);
    return value;
}

QString readMachineValue(MainParametri& selection, const QString& name) {
    const SelectionScope saved(selection);
    selection.selectHive(Hive::LocalMachine, false);
    return selection.ReadString(name, QString());
}

void writeVersion(MainParametri& selection, VersionRecord record, const QString& value) {
    const SelectionScope saved(selection);
    selectMakerKey(selection, record);
    selection.WriteString(valueName(record), value);
}

void registerDocument(MainParametri& selection, const QString& extension, const QString& group, const QString& shell,
                      short iconIndex) {
    {
        const SelectionScope saved(selection);
        selection.selectHive(Hive::ClassesRoot, true);
        selection.setSection(extension);
        selection.WriteValue(QString(), group);
        selection.setSection(group + QStringLiteral("\\CLID"));
        selection.WriteValue(QString(), QString());
        if (iconIndex >= 0) {
            selection.setSection(group + QStringLiteral("\\shell\\open\\command"));
            selection.WriteValue(QString(), QStringLiteral("\"%1\" \"%2\"").arg(shell, QStringLiteral("%1")));
        }
        selection.setSection(group + QStringLiteral("\\DefaultIcon"));
        selection.WriteValue(QString(), iconIndex >= 0 ? shell + u',' + QString::number(iconIndex) : shell);
    }
#ifndef Q_OS_WIN
    registerWithTheDesktop(extension, group, shell, iconIndex >= 0);
#endif
}

void writeLegacyLanguageFile(short language) {
#ifdef Q_OS_WIN
    static const QHash<short, char> letters{{1, 'I'}, {3, 'D'}, {4, 'F'}, {5, 'S'}, {6, 'P'}, {7, 'K'}};
    QFile file(QStringLiteral("C:\\CORVEL50\\CVLLING"));
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(QByteArray(1, letters.value(language, 'G')) + "\r\n");
#else
    Q_UNUSED(language);
#endif
}

void checkRegionalSettings() {
    const Separators separators = platform().separators();
    const QString decimal = separators.decimal.trimmed();
    const QString thousands = separators.thousands.trimmed();
    if (decimal == thousands)
        regionalError(QStringLiteral("Decimal and thousand separators must be different"));
    if (decimal.isEmpty())
        regionalError(QStringLiteral("Decimal separators is empty"));
}

short languageOfLogin() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QString locale = qEnvironmentVariable(variable);
        if (!locale.isEmpty())
            return languageOfCode(locale.section(u'.', 0, 0));
    }
    return 0;
}

bool userHiveIsNew() {
    const std::string file = platform().registry->location(Hive::CurrentUser);
    return !file.empty() && !QFileInfo::exists(QString::fromStdString(file));
}

}  // namespace paramcor::workstation
