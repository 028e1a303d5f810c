// The Windows calls themselves are in src/win32, which builds and is tested without
// Qt; here their 8-bit text becomes the library's strings.
#include "platform/SystemCalls.h"

#include "win32/Workstation.h"

namespace paramcor::systemcalls {
namespace {

QString fromAnsi(const std::string& text) {
    return QString::fromLocal8Bit(text.data(), static_cast<qsizetype>(text.size()));
}

std::string toAnsi(const QString& text) {
    return text.toLocal8Bit().toStdString();
}

}  // namespace

QString temporaryFolder() {
    return fromAnsi(win32::temporaryFolder());
}

QString temporaryFile(const QString& folder, const QString& prefix) {
    return fromAnsi(win32::temporaryFileName(toAnsi(folder), toAnsi(prefix)));
}

QString windowsFolder() {
    QString folder = fromAnsi(win32::windowsFolder());
    if (folder.isEmpty())
        return QStringLiteral("C:\\WINDOWS\\");
    if (!folder.endsWith(u'\\'))
        folder += u'\\';
    return folder;
}

Separators localeSeparators() {
    const win32::Separators separators = win32::localeSeparators();
    return {fromAnsi(separators.decimal), fromAnsi(separators.thousands)};
}

}  // namespace paramcor::systemcalls
