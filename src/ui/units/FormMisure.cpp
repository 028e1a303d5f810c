#include "ui/units/FormMisure.h"

#include "base/Numbers.h"
#include "units/UnitSystems.h"
#include "ui/units/FormValuta.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>

#include <QAction>
#include <QComboBox>
#include <QEvent>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QToolBar>
#include <QVBoxLayout>

#include <optional>
#include <stdexcept>

namespace paramcor::ui {

FormMisure::FormMisure(QWidget* parent) : ModalForm(parent) {
    par_ = std::make_unique<Parametri>();
    translate_ = [this](const QString& wording) { return par_->Traduci(wording); };
    decimal_ = decimalSeparator();
    settings_ = std::make_unique<units::UnitSettings>(
        par_->Percorso(QStringLiteral("Testi")) + QStringLiteral("CvlTradU.mdb"), par_->Lingua());
    std::vector<QString> stored = settings_->values();
    stored.resize(std::max<std::size_t>(stored.size(), units::kRows));

    buildControls();
    cboValuta_->addItems(settings_->currencyList());

    // The stored system is selected as a click would: its defaults are shown, the
    // currency entry added when missing, and then the stored values replace them.
    const double stored_system = roundHalfEven(leadingNumber(stored[units::System]));
    if (stored_system < 0 || stored_system >= static_cast<double>(optSistema_.size()))
        throw std::out_of_range("no such unit system: " + stored[units::System].toStdString());
    const int system = static_cast<int>(stored_system);
    {
        const QSignalBlocker quiet(optSistema_[system]);
        optSistema_[system]->setChecked(true);
    }
    optSistema_Click(system);

    for (int row = units::Linear; row <= units::Volume; ++row) {
        const int box = 2 * (row - units::Linear) + 1;
        txtMisure_[box]->setText(units::valueSymbol(stored[row]));
        txtMisure_[box + 1]->setText(units::valueRest(stored[row]));
    }

    const QString current = units::valueSymbol(settings_->currency());
    cboValuta_->setCurrentIndex(0);
    for (int i = 0; i < cboValuta_->count(); ++i) {
        if (units::valueSymbol(cboValuta_->itemText(i)) == current) {
            cboValuta_->setCurrentIndex(i);
            break;
        }
    }

    // Filling the boxes counted as changes.
    confirm_->setEnabled(false);
    Ricalcola();
    loaded_ = true;
}

FormMisure::~FormMisure() {
    for (QLineEdit* box : txtMisure_)
        if (box != nullptr)
            box->removeEventFilter(this);
}

QString FormMisure::translated(const char16_t* wording) const {
    return par_->Traduci(QString::fromUtf16(wording));
}

units::UnitEntries FormMisure::entries() const {
    units::UnitEntries e;
    e.system = Sistema_;
    e.currency = cboValuta_->currentText();
    for (int m = 0; m < 3; ++m) {
        e.symbols[m] = txtMisure_[2 * m + 1]->text();
        e.factors[m] = txtMisure_[2 * m + 2]->text();
    }
    return e;
}

void FormMisure::buildControls() {
    setObjectName(QStringLiteral("FormMisure"));
    setWindowTitle(translated(u"Unità di misura"));

    QToolBar* toolbar = makeToolbar(this, QStringLiteral("tlbPulsanti"));
    confirm_ = addToolbarButton(toolbar, QStringLiteral("Conferma"), confirmIcon(), translated(u"Conferma"));
    leave_ = addToolbarButton(toolbar, QStringLiteral("Esci"), exitIcon(), translated(u"Esci"));
    connect(confirm_, &QAction::triggered, this, [this] { guarded([this] { BottoneConferma(); }); });
    connect(leave_, &QAction::triggered, this, &QDialog::reject);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    const QString systems[] = {translated(u"Sistema Metrico Decimale"), translated(u"Sistema Anglosassone"),
                               QStringLiteral("USA")};
    for (int i = 0; i < 3; ++i) {
        optSistema_[i] = new QRadioButton(systems[i], this);
        optSistema_[i]->setObjectName(QStringLiteral("optSistema_%1").arg(i));
        connect(optSistema_[i], &QRadioButton::toggled, this, [this, i](bool on) {
            if (on)
                guarded([this, i] { optSistema_Click(i); });
        });
        cmdDefault_[i] = new QPushButton(translated(u"Default"), this);
        cmdDefault_[i]->setObjectName(QStringLiteral("cmdDefault_%1").arg(i));
        cmdDefault_[i]->setAutoDefault(false);
        connect(cmdDefault_[i], &QPushButton::clicked, this,
                [this, i] { guarded([this, i] { cmdDefault_Click(i); }); });
        grid->addWidget(optSistema_[i], i, 0, 1, 3);
        grid->addWidget(cmdDefault_[i], i, 3);
    }
    grid->setRowMinimumHeight(3, 10);

    lblSimbolo_ = new QLabel(translated(u"Simbolo"), this);
    lblSimbolo_->setObjectName(QStringLiteral("lblSimbolo"));
    lblFattore_ = new QLabel(translated(u"Fattore di Conversione"), this);
    lblFattore_->setObjectName(QStringLiteral("lblFattore"));
    grid->addWidget(lblSimbolo_, 4, 1);
    grid->addWidget(lblFattore_, 4, 2);

    const QString rowCaptions[] = {translated(u"Valuta"), translated(u"lineare"), translated(u"superfici"),
                                   translated(u"volume"),
                                   QStringLiteral("(") + translated(u"per calcolo peso") + QStringLiteral(")")};
    for (int i = 0; i < 5; ++i) {
        lblMisure_[i] = new QLabel(rowCaptions[i], this);
        lblMisure_[i]->setObjectName(QStringLiteral("lblMisure_%1").arg(i));
    }
    cboValuta_ = new QComboBox(this);
    cboValuta_->setObjectName(QStringLiteral("cboValuta"));
    cboValuta_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    cboValuta_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    cboValuta_->setMinimumContentsLength(14);
    connect(cboValuta_, &QComboBox::activated, this, [this] { enableConfirm(); });
    connect(cboValuta_, &QComboBox::currentIndexChanged, this, [this] { enableConfirm(); });
    cmdValuta_ = new QPushButton(QStringLiteral("..."), this);
    cmdValuta_->setObjectName(QStringLiteral("cmdValuta"));
    cmdValuta_->setToolTip(translated(u"Valuta"));
    cmdValuta_->setAutoDefault(false);
    connect(cmdValuta_, &QPushButton::clicked, this, [this] { guarded([this] { cmdValuta_Click(); }); });
    grid->addWidget(lblMisure_[0], 5, 0);
    grid->addWidget(cboValuta_, 5, 1, 1, 2);
    grid->addWidget(cmdValuta_, 5, 3);

    const int symbolWidth = fontMetrics().horizontalAdvance(QStringLiteral("M")) * 6;
    for (int box = 1; box <= 6; ++box) {
        auto* edit = new QLineEdit(this);
        edit->setObjectName(QStringLiteral("txtMisure_%1").arg(box));
        if (box % 2 == 1)
            edit->setFixedWidth(symbolWidth);
        edit->installEventFilter(this);
        connect(edit, &QLineEdit::textChanged, this, [this] { enableConfirm(); });
        txtMisure_[box] = edit;
        grid->addWidget(edit, 6 + (box - 1) / 2, box % 2 == 1 ? 1 : 2);
    }
    grid->addWidget(lblMisure_[1], 6, 0);
    grid->addWidget(lblMisure_[2], 7, 0);
    grid->addWidget(lblMisure_[3], 8, 0);
    grid->addWidget(lblMisure_[4], 9, 0, 1, 3);
    grid->setColumnStretch(2, 1);

    auto* example = new QGroupBox(translated(u"Esempio"), this);
    example->setObjectName(QStringLiteral("frmEsempio"));
    frmEsempio_ = example;
    auto* picture = new QFrame(example);
    picture->setObjectName(QStringLiteral("pctEsempio"));
    picture->setFrameShape(QFrame::StyledPanel);
    picture->setFrameShadow(QFrame::Sunken);
    picture->setAutoFillBackground(true);
    QPalette paper = picture->palette();
    paper.setColor(QPalette::Window, Qt::white);
    paper.setColor(QPalette::WindowText, Qt::black);
    picture->setPalette(paper);
    auto* lines = new QVBoxLayout(picture);
    lines->setSpacing(2);
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    // Room for the longest line in any language, so that no example is cut.
    const int lineWidth = QFontMetrics(fixed).horizontalAdvance(QString(78, u'0'));
    for (int i = 0; i < 4; ++i) {
        lblEsempio_[i] = new QLabel(picture);
        lblEsempio_[i]->setObjectName(QStringLiteral("lblEsempio_%1").arg(i));
        lblEsempio_[i]->setFont(fixed);
        lblEsempio_[i]->setTextFormat(Qt::PlainText);
        lblEsempio_[i]->setMinimumWidth(lineWidth);
        lines->addWidget(lblEsempio_[i]);
    }
    auto* inExample = new QVBoxLayout(example);
    inExample->addWidget(picture);

    auto* layout = new QVBoxLayout(this);
    layout->setMenuBar(toolbar);
    layout->addLayout(grid);
    layout->addSpacing(6);
    layout->addWidget(example);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void FormMisure::VisualizzaDefault(int system) {
    const units::UnitEntries defaults = units::systemDefaults(system);
    const QString symbol = units::valueSymbol(defaults.currency);
    int found = -1;
    for (int i = 0; i < cboValuta_->count() && found < 0; ++i)
        if (units::valueSymbol(cboValuta_->itemText(i)) == symbol)
            found = i;
    if (found < 0) {
        cboValuta_->insertItem(0, defaults.currency);
        found = 0;
    }
    cboValuta_->setCurrentIndex(found);

    for (int m = 0; m < 3; ++m) {
        txtMisure_[2 * m + 1]->setText(defaults.symbols[m]);
        txtMisure_[2 * m + 2]->setText(defaults.factors[m]);
    }
    const auto lines = units::defaultExamples(system, translate_);
    for (int i = 0; i < 4; ++i)
        lblEsempio_[i]->setText(lines[i]);
}

void FormMisure::Ricalcola() {
    const auto lines = units::workedExamples(entries(), decimal_, translate_);
    for (int i = 0; i < 3; ++i)
        lblEsempio_[i + 1]->setText(lines[i]);
}

bool FormMisure::ControllaDati() {
    const QString missing = units::missingEntry(entries(), decimal_);
    if (missing.isEmpty())
        return true;
    platform().messages->show(translated(u"Inserire") + QStringLiteral("  ==>  ") + par_->Traduci(missing) +
                                  QStringLiteral("!!"),
                              mb::OkOnly, windowTitle());
    return false;
}

void FormMisure::BottoneConferma() {
    if (!ControllaDati())
        return;
    const int answer =
        platform().messages->show(translated(u"Applico valori impostati a tutte le lingue") + QStringLiteral(" !!"),
                                  mb::Information, windowTitle());
    settings_->save(units::rowValues(entries()), answer == mb::Ok);
    accept();
}

void FormMisure::optSistema_Click(int index) {
    Sistema_ = index;
    VisualizzaDefault(index);
    for (int i = 0; i < 3; ++i)
        cmdDefault_[i]->setEnabled(i == index);
}

void FormMisure::cmdDefault_Click(int index) {
    const int answer = platform().messages->show(translated(u"Ripristino dati originali") + u'?',
                                                 mb::YesNo | mb::Question | mb::DefaultButton2, windowTitle());
    if (answer != mb::Yes)
        return;
    VisualizzaDefault(index);
    enableConfirm();
}

void FormMisure::cmdValuta_Click() {
    const std::optional<NewCurrency> currency = FormValuta::ask(*par_, this);
    if (!currency)
        return;
    settings_->saveCurrency(currency->symbol, currency->name);
    // Listed again even when the list has it: the new entry is the one chosen.
    cboValuta_->insertItem(0, units::currencyEntry(currency->symbol, currency->name));
    cboValuta_->setCurrentIndex(0);
}

void FormMisure::txtMisure_LostFocus() {
    const QString missing = units::missingEntry(entries(), decimal_);
    if (missing.isEmpty() || missing == QLatin1String("Valuta"))
        Ricalcola();
}

void FormMisure::enableConfirm() const {
    confirm_->setEnabled(true);
}

bool FormMisure::refusesKey(int index, const QString& typed) const {
    if (typed.size() != 1)
        return false;  // not a character: arrows, function keys
    const QChar c = typed.front();
    return units::refusesCharacter(index % 2 == 0, c, decimal_);
}

bool FormMisure::eventFilter(QObject* watched, QEvent* event) {
    int index = 0;
    for (int box = 1; box <= 6; ++box)
        if (watched == txtMisure_[box])
            index = box;
    if (index == 0)
        return ModalForm::eventFilter(watched, event);
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        switch (key->key()) {
            case Qt::Key_Return:
            case Qt::Key_Enter:
                if (confirm_->isEnabled())
                    guarded([this] { BottoneConferma(); });
                return true;
            case Qt::Key_Escape:
                reject();
                return true;
            case Qt::Key_Tab:
            case Qt::Key_Backtab:
                return false;  // moving on, not typing
            default:
                return refusesKey(index, key->text());
        }
    }
    if (event->type() == QEvent::FocusOut && loaded_)
        guarded([this] { txtMisure_LostFocus(); });
    return false;
}

void FormMisure::keyPressEvent(QKeyEvent* event) {
    if (!confirmOrCancel(event, confirm_, [this] { BottoneConferma(); }))
        ModalForm::keyPressEvent(event);
}

}  // namespace paramcor::ui
