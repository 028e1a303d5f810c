#include "folders/ui/FormPercorsi.h"

#include "folders/FolderTable.h"
#include "folders/ui/BrowseForFolder.h"
#include "folders/ui/FormDipendenze.h"

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

#include <deque>

namespace paramcor::ui {
namespace {

enum Column { kName, kLocation, kDefault, kReference };
constexpr int kRowRole = Qt::UserRole;

QString macroOf(const QString& name) {
    return u'<' + name.toUpper() + u'>';
}

QString normalised(QString path) {
    NormalizzaPercorso(path);
    return path;
}

// A default with its macro replaced by the location it stands for.
QString expanded(const QString& declared, const QString& macro, const QString& location) {
    QString result = declared;
    const qsizetype at = result.indexOf(macro, 0, Qt::CaseInsensitive);
    if (at >= 0)
        result.replace(at, macro.size(), location);
    return normalised(result);
}

}  // namespace

FormPercorsi::FormPercorsi(Parametri& owner, const QString& filter, QWidget* parent)
    : ModalForm(parent), owner_(owner), browser_(&BrowseForFolder) {
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

    loadFolders();
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

void FormPercorsi::loadFolders() {
    const short total = owner_.TotalePercorsi();
    for (short i = 0; i <= total; ++i) {
        Folder f;
        if (!owner_.DatiPercorso(i, f.name, f.declared, f.stored, f.reference))
            break;
        f.location = f.stored;
        f.macro = macroOf(f.name);
        folders_.push_back(f);
    }
    // The suite root's default is where its folders are built from.
    if (!folders_.empty()) {
        folders_[0].fallback = normalised(PercorsoPrincipale() + QStringLiteral("Wincor"));
        folders_[0].macro = QStringLiteral("<WINCOR>");
    }
    for (std::size_t i = 1; i < folders_.size(); ++i)
        for (std::size_t j = 0; j < folders_.size(); ++j)
            if (j != i && folders_[i].declared.contains(folders_[j].macro, Qt::CaseInsensitive)) {
                folders_[i].parent = static_cast<int>(j);
                break;
            }
    for (std::size_t i = 1; i < folders_.size(); ++i)
        fallbackOf(static_cast<int>(i), 0);
}

void FormPercorsi::reloadStored() {
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        QString name;
        QString declared;
        QString stored;
        QString reference;
        Folder& f = folders_[i];
        if (!owner_.DatiPercorso(static_cast<short>(i), name, declared, stored, reference) || stored == f.stored)
            continue;
        if (f.location == f.stored)
            f.location = stored;
        f.stored = stored;
    }
    showRow(selectedRow());
}

const QString& FormPercorsi::fallbackOf(int row, int depth) {
    Folder& f = folders_[row];
    // The installation file admits no loops; the depth only guards against one.
    if (!f.fallback.isEmpty() || f.declared.isEmpty() || depth > static_cast<int>(folders_.size()))
        return f.fallback;
    const QString program = QStringLiteral("<PROGRAM>");
    if (f.declared.contains(program, Qt::CaseInsensitive))
        f.fallback = expanded(f.declared, program, PercorsoPrincipale());
    else if (f.parent == 0)
        // The root stands for where it was when the table was built.
        f.fallback = expanded(f.declared, folders_[0].macro, folders_[0].declared);
    else if (f.parent > 0)
        f.fallback = expanded(f.declared, folders_[f.parent].macro, fallbackOf(f.parent, depth + 1));
    else
        f.fallback = normalised(f.declared);
    return f.fallback;
}

void FormPercorsi::fillGrid(const QString& filter) {
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        const Folder& f = folders_[i];
        if (!filter.isEmpty() && f.name.toUpper() != filter && f.reference != filter)
            continue;
        auto* item = new QTreeWidgetItem(grid_, {f.name, f.location, f.fallback, f.reference});
        item->setData(kName, kRowRole, static_cast<int>(i));
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
    restore_->setEnabled(any && !folders_[row].fallback.isEmpty());
    current_->setText(any ? folders_[row].location : QString());
    fallback_->setText(any ? folders_[row].fallback : QString());
    for (int i = 0; i < grid_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = grid_->topLevelItem(i);
        const Folder& f = folders_[item->data(kName, kRowRole).toInt()];
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
    if (row < 0 || current_->text() == folders_[row].location)
        return;
    relocate(row, current_->text());
}

void FormPercorsi::restoreDefault() {
    const int row = selectedRow();
    if (row >= 0 && !folders_[row].fallback.isEmpty())
        relocate(row, folders_[row].fallback);
}

void FormPercorsi::restoreAllDefaults() {
    const int answer = platform().messages->show(
        owner_.Traduci(QStringLiteral("Ripristino tutti i percorsi di default?")), mb::YesNo | mb::Question,
        windowTitle());
    if (answer != mb::Yes)
        return;
    for (Folder& f : folders_)
        if (!f.fallback.isEmpty())
            f.location = f.fallback;
    showRow(selectedRow());
}

void FormPercorsi::relocate(int row, const QString& location) {
    if (folders_[row].location == location) {
        showRow(row);
        return;
    }
    folders_[row].location = location;
    showRow(row);
    carryOver(row);
}

void FormPercorsi::carryOver(int row) {
    // Every folder built on the changed one, directly or through another, nearest first.
    std::vector<int> dependents;
    std::deque<int> pending{row};
    while (!pending.empty()) {
        const int from = pending.front();
        pending.pop_front();
        for (std::size_t i = 1; i < folders_.size(); ++i)
            if (folders_[i].parent == from) {
                dependents.push_back(static_cast<int>(i));
                pending.push_back(static_cast<int>(i));
            }
    }
    if (dependents.empty())
        return;

    // What each would become if all of them followed.
    std::vector<QString> proposed(folders_.size());
    proposed[row] = folders_[row].location;
    for (const int d : dependents) {
        const Folder& f = folders_[d];
        proposed[d] = expanded(f.declared, folders_[f.parent].macro, proposed[f.parent]);
    }

    FormDipendenze choice(owner_, this);
    QListWidget* list = choice.List1();
    list->clear();
    for (const int d : dependents) {
        auto* item = new QListWidgetItem(folders_[d].name + QStringLiteral("  →  ") + proposed[d], list);
        item->setSelected(true);
    }
    choice.run();
    if (!choice.confirmed())
        return;
    for (std::size_t k = 0; k < dependents.size(); ++k) {
        if (!list->item(static_cast<int>(k))->isSelected())
            continue;
        Folder& f = folders_[dependents[k]];
        // A folder left where it was keeps carrying its own location down.
        f.location = expanded(f.declared, folders_[f.parent].macro, folders_[f.parent].location);
    }
    showRow(selectedRow());
}

void FormPercorsi::Conferma() {
    // A location typed but not yet taken with Enter counts too.
    typedLocation();
    for (const Folder& f : folders_)
        if (f.location != f.stored) {
            owner_.ScriviPercorso(f.name, f.location);
            changed_ = true;
        }
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
