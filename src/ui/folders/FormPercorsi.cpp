#include "ui/folders/FormPercorsi.h"

#include "ui/folders/BrowseForFolder.h"
#include "ui/folders/FormDipendenze.h"

#include <CVLParamcor/OsservatoreRegistro.h>
#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>

#include <QAction>
#include <QDir>
#include <QGridLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QToolBar>
#include <QTreeWidget>

namespace paramcor::ui {
namespace {

enum Column { kName, kLocation, kDefault, kReference };
constexpr int kRowRole = Qt::UserRole;

}  // namespace

FormPercorsi::FormPercorsi(Parametri& owner, const QString& filter, QWidget* parent)
    : ModalForm(parent), owner_(owner), editing_(privateapi::folderEditing(owner)), browser_(&BrowseForFolder) {
    setObjectName(QStringLiteral("FormPercorsi"));
    setWindowTitle(owner_.Traduci(QStringLiteral("Percorsi")));

    QToolBar* toolbar = makeToolbar(this, QStringLiteral("tlbPulsanti"));
    QAction* confirm =
        addToolbarButton(toolbar, QStringLiteral("Conferma"), confirmIcon(), owner_.Traduci(QStringLiteral("Conferma")));
    QAction* leave =
        addToolbarButton(toolbar, QStringLiteral("Esci"), exitIcon(), owner_.Traduci(QStringLiteral("Esci")));
    connect(confirm, &QAction::triggered, this, [this] { guarded([this] { Conferma(); }); });
    connect(leave, &QAction::triggered, this, &QDialog::reject);

    grid_ = new QTreeWidget(this);
    grid_->setObjectName(QStringLiteral("grdPercorsi"));
    grid_->setRootIsDecorated(false);
    grid_->setUniformRowHeights(true);
    grid_->setAlternatingRowColors(true);
    grid_->setHeaderLabels({owner_.Traduci(QStringLiteral("Nome")), owner_.Traduci(QStringLiteral("Percorso")),
                            owner_.Traduci(QStringLiteral("Default")), owner_.Traduci(QStringLiteral("Riferimento"))});
    grid_->setMinimumSize(760, 320);

    auto* currentLabel = new QLabel(owner_.Traduci(QStringLiteral("Percorso corrente")), this);
    currentLabel->setObjectName(QStringLiteral("lblPercorsoCorrente"));
    current_ = new QLineEdit(this);
    current_->setObjectName(QStringLiteral("PercorsoCorrente"));
    currentLabel->setBuddy(current_);
    auto* fallbackLabel = new QLabel(owner_.Traduci(QStringLiteral("Percorso di default")), this);
    fallbackLabel->setObjectName(QStringLiteral("lblPercorsoDefault"));
    fallback_ = new QLineEdit(this);
    fallback_->setObjectName(QStringLiteral("PercorsoDefault"));
    fallback_->setReadOnly(true);

    change_ = new QPushButton(owner_.Traduci(QStringLiteral("Cambia")) + QStringLiteral("..."), this);
    change_->setObjectName(QStringLiteral("CambiaPercorso"));
    change_->setToolTip(owner_.Traduci(QStringLiteral("Scegli una nuova cartella")));
    change_->setAutoDefault(false);
    restore_ = new QPushButton(owner_.Traduci(QStringLiteral("Default")), this);
    restore_->setObjectName(QStringLiteral("cmdDefault"));
    restore_->setToolTip(owner_.Traduci(QStringLiteral("Ripristino il percorso di default")));
    restore_->setAutoDefault(false);
    auto* restoreAll = new QPushButton(owner_.Traduci(QStringLiteral("Tutti default")), this);
    restoreAll->setObjectName(QStringLiteral("cmdTuttiDefault"));
    restoreAll->setToolTip(owner_.Traduci(QStringLiteral("Ripristino tutti i percorsi di default")));
    restoreAll->setAutoDefault(false);
    connect(change_, &QPushButton::clicked, this, [this] { guarded([this] { CambiaPercorso(); }); });
    connect(restore_, &QPushButton::clicked, this, [this] { guarded([this] { restoreDefault(); }); });
    connect(restoreAll, &QPushButton::clicked, this, [this] { guarded([this] { restoreAllDefaults(); }); });
    connect(current_, &QLineEdit::editingFinished, this, [this] { guarded([this] { typedLocation(); }); });
    connect(grid_, &QTreeWidget::currentItemChanged, this, [this] { showRow(selectedRow()); });

    auto* layout = new QGridLayout(this);
    layout->setMenuBar(toolbar);
    layout->addWidget(grid_, 0, 0, 1, 4);
    layout->addWidget(currentLabel, 1, 0);
    layout->addWidget(current_, 1, 1);
    layout->addWidget(change_, 1, 2);
    layout->addWidget(restore_, 1, 3);
    layout->addWidget(fallbackLabel, 2, 0);
    layout->addWidget(fallback_, 2, 1);
    layout->addWidget(restoreAll, 2, 3);
    layout->setColumnStretch(1, 1);

    fillGrid(filter);
    // The folders live right under the suite's root, the machine-wide ones in the
    // machine's hive.
    observer_ = new OsservatoreRegistro(this);
    for (const Hive hive : {Hive::CurrentUser, Hive::LocalMachine})
        observer_->Osserva(hive, owner_.RadReg());
    connect(observer_, &OsservatoreRegistro::Cambiata, this, [this] { reloadStored(); });
    if (grid_->topLevelItemCount() > 0)
        grid_->setCurrentItem(grid_->topLevelItem(0));
    else
        showRow(-1);
}

void FormPercorsi::reloadStored() {
    editing_->reloadStored();
    showRow(selectedRow());
}

void FormPercorsi::fillGrid(const QString& filter) {
    for (const int row : editing_->matching(filter)) {
        const EditedFolder& f = folder(row);
        auto* item = new QTreeWidgetItem(grid_, {f.name, f.location, f.fallback, f.reference});
        item->setData(kName, kRowRole, row);
    }
    for (int c = 0; c < grid_->columnCount(); ++c)
        grid_->resizeColumnToContents(c);
}

int FormPercorsi::selectedRow() const {
    const QTreeWidgetItem* item = grid_->currentItem();
    return item == nullptr ? -1 : item->data(kName, kRowRole).toInt();
}

void FormPercorsi::showRow(int row) {
    const bool any = row >= 0;
    current_->setEnabled(any);
    change_->setEnabled(any);
    restore_->setEnabled(any && !folder(row).fallback.isEmpty());
    current_->setText(any ? folder(row).location : QString());
    fallback_->setText(any ? folder(row).fallback : QString());
    for (int i = 0; i < grid_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = grid_->topLevelItem(i);
        const EditedFolder& f = folder(item->data(kName, kRowRole).toInt());
        item->setText(kLocation, f.location);
        QFont font = item->font(kLocation);
        font.setBold(f.location != f.stored);
        item->setFont(kLocation, font);
    }
}

void FormPercorsi::CambiaPercorso() {
    const int row = selectedRow();
    if (row < 0)
        return;
    const QString start = StripTrailingBackslash(current_->text());
    QString chosen = browser_(start, owner_.Traduci(QStringLiteral("Vecchio percorso")) + QStringLiteral(" : ") + start,
                              this);
    if (chosen.isEmpty())
        return;
    if (!chosen.endsWith(QDir::separator()))
        chosen += QDir::separator();
    current_->setText(chosen);
    relocate(row, chosen);
}

void FormPercorsi::typedLocation() {
    const int row = selectedRow();
    if (row < 0 || current_->text() == folder(row).location)
        return;
    relocate(row, current_->text());
}

void FormPercorsi::restoreDefault() {
    const int row = selectedRow();
    if (row >= 0 && !folder(row).fallback.isEmpty())
        relocate(row, folder(row).fallback);
}

void FormPercorsi::restoreAllDefaults() {
    const int answer = platform().messages->show(
        owner_.Traduci(QStringLiteral("Ripristino tutti i percorsi di default?")), mb::YesNo | mb::Question,
        windowTitle());
    if (answer != mb::Yes)
        return;
    editing_->restoreAllDefaults();
    showRow(selectedRow());
}

void FormPercorsi::relocate(int row, const QString& location) {
    const bool moved = editing_->relocate(row, location);
    showRow(row);
    if (moved)
        carryOver(row);
}

void FormPercorsi::carryOver(int row) {
    const std::vector<DependentFolder> dependents = editing_->dependents(row);
    if (dependents.empty())
        return;
    FormDipendenze choice(owner_, this);
    QListWidget* list = choice.List1();
    list->clear();
    for (const DependentFolder& d : dependents) {
        auto* item = new QListWidgetItem(folder(d.row).name + QStringLiteral("  →  ") + d.proposed, list);
        item->setSelected(true);
    }
    choice.run();
    if (!choice.confirmed())
        return;
    std::vector<int> following;
    for (std::size_t k = 0; k < dependents.size(); ++k)
        if (list->item(static_cast<int>(k))->isSelected())
            following.push_back(dependents[k].row);
    editing_->follow(following);
    showRow(selectedRow());
}

void FormPercorsi::Conferma() {
    // A location typed but not yet taken with Enter counts too.
    typedLocation();
    changed_ = editing_->write();
    accept();
}

void FormPercorsi::keyPressEvent(QKeyEvent* event) {
    // Enter in the location box takes the typed folder; it does not confirm the window.
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && current_->hasFocus()) {
        guarded([this] { typedLocation(); });
        return;
    }
    ModalForm::keyPressEvent(event);
}

}  // namespace paramcor::ui
