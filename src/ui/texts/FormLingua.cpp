#include "ui/texts/FormLingua.h"

#include "ui/common/Globe.h"
#include "ui/units/FormMisure.h"

#include <CVLParamcor/Parametri.h>

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QStyleOptionButton>
#include <QTimer>
#include <QVBoxLayout>
#include <qdrawutil.h>

namespace paramcor::ui {

namespace {
constexpr int kGlobeSize = 80;
constexpr int kGlobeInterval = 120;  // milliseconds per frame: a turn in two seconds
constexpr int kOptionMargin = 4;
}  // namespace

void LanguageOption::setRaised(bool raised) {
    raised_ = raised;
    update();
}

QSize LanguageOption::sizeHint() const {
    return QRadioButton::sizeHint() + QSize(4 * kOptionMargin, 2 * kOptionMargin);
}

void LanguageOption::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (raised_)
        qDrawShadePanel(&painter, rect(), palette(), false, 2, &palette().brush(QPalette::Button));
    else
        qDrawPlainRect(&painter, rect(), palette().color(QPalette::Mid), 1);
    QStyleOptionButton option;
    initStyleOption(&option);
    option.rect = rect().adjusted(2 * kOptionMargin, kOptionMargin, -kOptionMargin, -kOptionMargin);
    style()->drawControl(QStyle::CE_RadioButton, &option, &painter, this);
}

FormLingua::FormLingua(Parametri& owner, short chosen, QWidget* parent)
    : ModalForm(parent), owner_(owner), choice_(chosen, owner.Percorso(QStringLiteral("Testi"))) {
    setObjectName(QStringLiteral("FormLingua"));
    setWindowTitle(owner_.Traduci(QStringLiteral("Cambio Lingua")));

    for (int k = 1; k <= kGlobeFrames; ++k)
        images_[QStringLiteral("World%1").arg(k)] = globeFrame(k, kGlobeSize);
    picture_ = new QLabel(this);
    picture_->setObjectName(QStringLiteral("picMondo"));
    picture_->setFixedSize(kGlobeSize, kGlobeSize);

    auto* languages = new QGridLayout;
    languages->setSpacing(6);
    for (int i = 0; i < kLanguageOptions; ++i) {
        auto* option = new LanguageOption(owner_.Traduci(paramcor::languages()[i].ownName), this);
        option->setObjectName(QStringLiteral("Option1_%1").arg(i));
        option->setRaised(choice_.installed(i + 1));
        connect(option, &QRadioButton::clicked, this, [this, i] { choice_.choose(static_cast<short>(i + 1)); });
        languages->addWidget(option, i % 6, i / 6);
        options_[i] = option;
    }
    if (choice_.chosen() >= 1 && choice_.chosen() <= kLanguageOptions)
        options_[choice_.chosen() - 1]->setChecked(true);

    auto* confirm = new QPushButton(confirmIcon(), owner_.Traduci(QStringLiteral("Conferma")), this);
    confirm->setObjectName(QStringLiteral("Command1"));
    confirm->setToolTip(owner_.Traduci(QStringLiteral("conferma")));
    confirm->setDefault(true);
    connect(confirm, &QPushButton::clicked, this, [this] { Bottone_Conferma(); });

    auto* cancel = new QPushButton(exitIcon(), owner_.Traduci(QStringLiteral("Annulla")), this);
    cancel->setObjectName(QStringLiteral("Command2"));
    cancel->setToolTip(owner_.Traduci(QStringLiteral("esc")));
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* units = new QPushButton(owner_.Traduci(QStringLiteral("Unità di misura")), this);
    units->setObjectName(QStringLiteral("cmdMisure"));
    units->setAutoDefault(false);
    connect(units, &QPushButton::clicked, this, [this] { guarded([this] { openUnits(); }); });

    auto* top = new QHBoxLayout;
    top->addWidget(picture_, 0, Qt::AlignTop);
    top->addSpacing(12);
    top->addLayout(languages, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(units);
    buttons->addStretch(1);
    buttons->addWidget(confirm);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addSpacing(8);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    timer_ = new QTimer(this);
    timer_->setObjectName(QStringLiteral("Timer1"));
    timer_->setInterval(kGlobeInterval);
    connect(timer_, &QTimer::timeout, this, [this] { showNextGlobeFrame(); });
    showNextGlobeFrame();
    timer_->start();
}

void FormLingua::showEvent(QShowEvent* event) {
    ModalForm::showEvent(event);
    if (!centred_) {
        centreOnScreen();
        centred_ = true;
    }
}

void FormLingua::showNextGlobeFrame() {
    if (frame_ == kGlobeFrames + 1)
        frame_ = 1;
    shownKey_ = QStringLiteral("World%1").arg(frame_);
    picture_->setPixmap(QPixmap::fromImage(images_.at(shownKey_)));
    ++frame_;
}

void FormLingua::Bottone_Conferma() {
    choice_.confirm();
    accept();
}

void FormLingua::openUnits() {
    FormMisure units(this);
    units.run();
}

}  // namespace paramcor::ui
