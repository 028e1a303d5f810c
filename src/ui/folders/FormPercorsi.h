// The folder editor: the suite's folders with their current and default
// locations. Changes are kept in the window until the user confirms; then every
// folder whose location changed is written with ScriviPercorso. A change can be
// carried over to the folders whose default is built on the changed one. A folder
// that another program moves while the window is open is shown where it went,
// unless the user has already moved it here.
#pragma once

#include "param/PrivateApi.h"
#include "ui/common/ModalForm.h"

class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace paramcor {
class OsservatoreRegistro;
class Parametri;
}

namespace paramcor::ui {

class FormPercorsi final : public ModalForm {
    Q_OBJECT

public:
    // Lists the folders whose name or reference equals `filter` (upper-cased),
    // all of them when it is empty.
    FormPercorsi(Parametri& owner, const QString& filter, QWidget* parent = nullptr);

    // True when confirming wrote at least one folder.
    bool changed() const { return changed_; }

    // The folder chooser, replaceable so that a host can offer its own.
    using Browser = QString (*)(const QString& start, const QString& title, QWidget* owner);
    void setBrowser(Browser browser) { browser_ = browser; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    // Takes the locations stored meanwhile by other programs.
    void reloadStored();
    void fillGrid(const QString& filter);
    void showRow(int row);
    int selectedRow() const;

    void CambiaPercorso();
    void restoreDefault();
    void restoreAllDefaults();
    void typedLocation();
    // Sets a row's location and offers the folders built on it.
    void relocate(int row, const QString& location);
    void carryOver(int row);
    const EditedFolder& folder(int row) const { return editing_->folders()[row]; }
    void Conferma();

    Parametri& owner_;
    std::unique_ptr<FolderEditing> editing_;
    QTreeWidget* grid_ = nullptr;
    QLineEdit* current_ = nullptr;
    QLineEdit* fallback_ = nullptr;
    QPushButton* change_ = nullptr;
    QPushButton* restore_ = nullptr;
    Browser browser_;
    OsservatoreRegistro* observer_ = nullptr;
    bool changed_ = false;
};

}  // namespace paramcor::ui
