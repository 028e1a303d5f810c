#include "ui/folders/BrowseForFolder.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

namespace paramcor::ui {

QString BrowseForFolder(const QString& start, const QString& title, QWidget* owner) {
    QFileDialog chooser(owner, title, start);
    chooser.setObjectName(QStringLiteral("BrowseForFolder"));
    chooser.setFileMode(QFileDialog::Directory);
    chooser.setOption(QFileDialog::ShowDirsOnly);
    chooser.setAcceptMode(QFileDialog::AcceptOpen);
    if (chooser.exec() != QDialog::Accepted)
        return {};
    const QStringList chosen = chooser.selectedFiles();
    if (chosen.isEmpty())
        return {};
    // Only a real folder will do: a network place or a virtual item has no path.
    const QFileInfo folder(chosen.first());
    if (!folder.isAbsolute() || !folder.isDir())
        return {};
    return QDir::toNativeSeparators(QDir::cleanPath(folder.absoluteFilePath()));
}

QString StripTrailingBackslash(const QString& path) {
    if (!path.isEmpty() && path.endsWith(QDir::separator()))
        return path.left(path.size() - 1);
    return path;
}

}  // namespace paramcor::ui
