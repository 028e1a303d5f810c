#include "ui/folders/FormDipendenze.h"

#include <CVLParamcor/Parametri.h>

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace paramcor::ui {

FormDipendenze::FormDipendenze(Parametri& texts, QWidget* parent) : ModalForm(parent) {
    setObjectName(QStringLiteral("FormDipendenze"));
    setWindowTitle(texts.Traduci(QStringLiteral("Dipendenze")));

    list_ = new QListWidget(this);
    list_->setObjectName(QStringLiteral("List1"));
    list_->setSelectionMode(QAbstractItemView::MultiSelection);
    list_->setMinimumSize(360, 220);

    const auto button = [this](const char* name, const QString& caption) {
        auto* b = new QPushButton(caption, this);
        b->setObjectName(QString::fromLatin1(name));
        b->setAutoDefault(false);
        return b;
    };
    QPushButton* ok = button("OKButton", texts.Traduci(QStringLiteral("Conferma")));
    ok->setIcon(confirmIcon());
    ok->setDefault(true);
    QPushButton* all = button("AllButton", texts.Traduci(QStringLiteral("Tutto")));
    QPushButton* clear = button("ClearButton", texts.Traduci(QStringLiteral("Azzera")));
    // The one caption the suite never translated.
    QPushButton* invert = button("InvButton", QStringLiteral("Inverti"));
    QPushButton* cancel = button("CancelButton", texts.Traduci(QStringLiteral("Annulla")));
    cancel->setIcon(exitIcon());

    connect(ok, &QPushButton::clicked, this, [this] {
        confirmed_ = true;
        accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(all, &QPushButton::clicked, this, [this] { SelezionaTutto(true); });
    connect(clear, &QPushButton::clicked, this, [this] { SelezionaTutto(false); });
    connect(invert, &QPushButton::clicked, this, [this] { invertSelection(); });

    auto* buttons = new QVBoxLayout;
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    buttons->addSpacing(12);
    buttons->addWidget(all);
    buttons->addWidget(clear);
    buttons->addWidget(invert);
    buttons->addStretch(1);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(list_, 1);
    layout->addLayout(buttons);
}

void FormDipendenze::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        confirmed_ = false;
        reject();
        return;
    }
    ModalForm::keyPressEvent(event);
}

template <class Change>
void FormDipendenze::changeEveryItem(Change change) {
    const int current = list_->currentRow();
    const QModelIndex top = list_->indexAt(QPoint(0, 0));
    // Many selection changes, one repaint.
    list_->setUpdatesEnabled(false);
    for (int i = 0; i < list_->count(); ++i) {
        QListWidgetItem* item = list_->item(i);
        item->setSelected(change(item->isSelected()));
    }
    list_->setUpdatesEnabled(true);
    if (current >= 0)
        list_->setCurrentRow(current, QItemSelectionModel::NoUpdate);
    if (top.isValid())
        list_->scrollTo(top, QAbstractItemView::PositionAtTop);
}

void FormDipendenze::SelezionaTutto(bool state) {
    changeEveryItem([state](bool) { return state; });
}

void FormDipendenze::invertSelection() {
    changeEveryItem([](bool selected) { return !selected; });
}

}  // namespace paramcor::ui
