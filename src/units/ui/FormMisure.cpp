#include "units/ui/FormMisure.h"

#include "param/Numbers.h"
#include "texts/TextTable.h"
#include "units/UnitSystems.h"
#include "units/ui/FormValuta.h"
#include "units/ui/NumberMask.h"

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
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QToolBar>
#include <QVBoxLayout>

#include <optional>
#include <stdexcept>

namespace paramcor::ui {
namespace {

const QString kExampleMask = QStringLiteral("12.3.4");

// The currency entry of the list: "$   = USD".
QString currencyEntry(const QString& symbol, const QString& name) {
    return units::unitValue(symbol, QString()).toUpper() + QStringLiteral("= ") + name.toUpper();
}

// An entry stands for a stored value when it reads as the value once its "= " is taken out.
bool standsFor(const QString& entry, const QString& value) {
    return entry.left(units::kSymbolWidth) + entry.mid(units::kSymbolWidth + 2) == value;
}

// A factor as typed: digits with the workstation's decimal separator; blanks,
// which the boxes let through, are ignored. Anything else is not a number.
std::optional<double> strictNumber(const QString& text, QChar decimal) {
    QString number = text;
    number.remove(u' ');
    if (decimal != u'.') {
        if (number.contains(u'.'))
            return std::nullopt;
        number.replace(decimal, u'.');
    }
    static const QRegularExpression shape(QStringLiteral("^[+-]?([0-9]+[.]?[0-9]*|[.][0-9]+)$"));
    if (!shape.match(number).hasMatch())
        return std::nullopt;
    return number.toDouble();
}

}  // namespace

FormMisure::FormMisure(QWidget* parent) : ModalForm(parent) {
    par_ = std::make_unique<Parametri>();
    decimal_ = decimalSeparator();

    db_ = SqlDatabase(par_->Percorso(QStringLiteral("Testi")) + QStringLiteral("CvlTradU.mdb"),
                      SqlDatabase::Mode::ReadWrite);
    language_ = par_->Lingua();
    {
        SqlStatement rows = db_.prepare(
            ("SELECT " + languageColumn() + " FROM Testi  WHERE Programma = 'PARAM' ORDER BY Progressivo").toUtf8());
        std::size_t k = 0;
        while (rows.step()) {
            if (k >= Valori.size())
                throw std::out_of_range("more unit settings rows than the units window knows");
            Valori[k++] = rows.isNull(0) ? QString() : rows.text(0);
        }
    }

    buildControls();
    CaricaValuta();

    // The stored system is selected as a click would: its defaults are shown, the
    // currency entry added when missing, and then the stored values replace them.
    const double stored = roundHalfEven(leadingNumber(Valori[units::System]));
    if (stored < 0 || stored >= static_cast<double>(optSistema_.size()))
        throw std::out_of_range("no such unit system: " + Valori[units::System].toStdString());
    const int system = static_cast<int>(stored);
    {
        const QSignalBlocker quiet(optSistema_[system]);
        optSistema_[system]->setChecked(true);
    }
    optSistema_Click(system);

    for (int row = units::Linear; row <= units::Volume; ++row) {
        const int box = 2 * (row - units::Linear) + 1;
        txtMisure_[box]->setText(units::valueSymbol(Valori[row]));
        txtMisure_[box + 1]->setText(units::valueRest(Valori[row]));
    }

    if (language_ < 1 || language_ > static_cast<int>(Valute.size()))
        throw std::out_of_range("no currency for language " + std::to_string(language_));
    const QString current = units::valueSymbol(Valute[language_ - 1]);
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

QString FormMisure::languageColumn() const {
    return texts::languageColumn(language_);
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

void FormMisure::CaricaValuta() {
    QString columns;
    for (int n = 1; n <= texts::kLanguages; ++n)
        columns += (n > 1 ? QStringLiteral(", ") : QString()) + texts::languageColumn(n);
    SqlStatement row = db_.prepare(
        ("SELECT " + columns + " FROM Testi WHERE Programma = 'PARAM' AND Progressivo = '02_VAL'").toUtf8());
    const bool found = row.step();
    for (int n = 1; n <= texts::kLanguages; ++n) {
        if (!found || row.isNull(n - 1)) {
            Valute[n - 1].clear();
            continue;
        }
        const QString value = row.text(n - 1).trimmed().toUpper();
        Valute[n - 1] = value;
        bool listed = false;
        for (int i = 0; i < cboValuta_->count() && !listed; ++i)
            listed = standsFor(cboValuta_->itemText(i), value);
        if (!listed)
            cboValuta_->addItem(value.left(units::kSymbolWidth).toUpper() + QStringLiteral("= ") +
                                value.mid(units::kSymbolWidth).toUpper());
    }
}

void FormMisure::VisualizzaDefault(int system) {
    if (system < 0 || system >= static_cast<int>(units::kUnitSystems.size()))
        throw std::out_of_range("no such unit system: " + std::to_string(system));
    const units::UnitSystem& defaults = units::kUnitSystems[system];
    const QString symbol = QString::fromUtf16(defaults.currencySymbol);
    int found = -1;
    for (int i = 0; i < cboValuta_->count() && found < 0; ++i)
        if (units::valueSymbol(cboValuta_->itemText(i)) == symbol)
            found = i;
    if (found < 0) {
        cboValuta_->insertItem(0, currencyEntry(symbol, QString::fromUtf16(defaults.currencyName)));
        found = 0;
    }
    cboValuta_->setCurrentIndex(found);

    for (int m = 0; m < 3; ++m) {
        txtMisure_[2 * m + 1]->setText(QString::fromUtf16(defaults.measures[m].symbol));
        txtMisure_[2 * m + 2]->setText(QString::fromUtf16(defaults.measures[m].factor));
    }

    const QString typing = translated(u"Digitazione misure") + QStringLiteral("  --> ");
    const QString weight = translated(u"Peso Specifico");
    if (system == 0) {
        lblEsempio_[0]->setText(typing + translated(u"millimetri"));
        lblEsempio_[1]->setText(QStringLiteral("    3.200 mm  ==>     3.200/1.000     = 3,20 m  "));
        lblEsempio_[2]->setText(QStringLiteral("6.500.000 mm² ==> 6.500.000/1.000.000 = 6,50 m² "));
        lblEsempio_[3]->setText(QStringLiteral("2.000.000 mm³ ==> 2.000.000/1.000.000 = 2,00 dm³ * ") + weight +
                                QStringLiteral(" = ") + translated(u"kg"));
    } else {
        const QString inches = translated(u"pollici");
        lblEsempio_[0]->setText(typing + inches);
        lblEsempio_[1]->setText(QStringLiteral("   180 ") + inches + QStringLiteral("   ==>      180/12      = 15  ") +
                                txtMisure_[1]->text());
        lblEsempio_[2]->setText(QStringLiteral(" 1,440 ") + inches + QStringLiteral("²  ==>    1,440/144     = 10  ") +
                                txtMisure_[3]->text());
        lblEsempio_[3]->setText(QStringLiteral(" 9,504 ") + inches + QStringLiteral("³  ==>    9,504/1,728   = 5.5 ") +
                                translated(u"piedi") + QStringLiteral("³ * ") + weight + QStringLiteral(" = ") +
                                translated(u"peso"));
    }
}

QString FormMisure::symbolOf(int box) const {
    return txtMisure_[box]->text().trimmed();
}

// The value of a factor box for the checks: one that is not a number counts as
// zero, so that the examples are never worked out from it.
double FormMisure::factorOf(int box) const {
    return strictNumber(txtMisure_[box]->text(), decimal_).value_or(0.0);
}

void FormMisure::Ricalcola() {
    const QChar thousands = thousandsSeparator(decimal_);
    auto factorText = [this](int box) { return txtMisure_[box]->text().trimmed(); };
    auto quotient = [&](double sample, int box) {
        const std::optional<double> factor = strictNumber(txtMisure_[box]->text(), decimal_);
        if (!factor)
            throw std::invalid_argument("the conversion factor \"" + txtMisure_[box]->text().toStdString() +
                                        "\" is not a number");
        if (*factor == 0)
            throw std::domain_error("a conversion factor of zero");
        return formatNumber(sample / *factor, kExampleMask, decimal_, thousands).trimmed();
    };
    const QString weight = translated(u"Peso Specifico");
    if (Sistema_ == 0) {
        lblEsempio_[1]->setText(QStringLiteral("    3.200 mm  ==>     3.200/") + factorText(2) +
                                QStringLiteral("    = ") + quotient(3200, 2) + u' ' + symbolOf(1));
        lblEsempio_[2]->setText(QStringLiteral("6.500.000 mm² ==> 6.500.000/") + factorText(4) + QStringLiteral(" = ") +
                                quotient(6500000, 4) + u' ' + symbolOf(3));
        lblEsempio_[3]->setText(QStringLiteral("2.000.000 mm³ ==> 2.000.000/") + factorText(6) +
                                QStringLiteral("  = (") + quotient(2000000, 6) + QStringLiteral(") * ") + weight +
                                QStringLiteral("= ") + symbolOf(5));
    } else {
        const QString inches = translated(u"pollici");
        lblEsempio_[1]->setText(QStringLiteral("   180 ") + inches + QStringLiteral("   ==>       180/") +
                                factorText(2) + QStringLiteral("     = ") + quotient(180, 2) + u' ' + symbolOf(1));
        lblEsempio_[2]->setText(QStringLiteral(" 1,440 ") + inches + QStringLiteral("²  ==>     1,440/") +
                                factorText(4) + QStringLiteral("    = ") + quotient(1440, 4) + u' ' + symbolOf(3));
        lblEsempio_[3]->setText(QStringLiteral(" 9,504 ") + inches + QStringLiteral("³  ==>     9,504/") +
                                factorText(6) + QStringLiteral("   = ") + quotient(9504, 6) + QStringLiteral(") * ") +
                                weight + QStringLiteral("= ") + symbolOf(5));
    }
}

bool FormMisure::ControllaDati() {
    QString missing;
    if (factorOf(2) == 0 || factorOf(4) == 0 || factorOf(6) == 0)
        missing = translated(u"Fattore di Conversione");
    else if (symbolOf(1).isEmpty() || symbolOf(3).isEmpty() || symbolOf(5).isEmpty())
        missing = translated(u"Simbolo");
    else if (cboValuta_->currentText().trimmed().isEmpty())
        missing = translated(u"Valuta");
    if (missing.isEmpty())
        return true;
    platform().messages->show(translated(u"Inserire") + QStringLiteral("  ==>  ") + missing + QStringLiteral("!!"),
                              mb::OkOnly, windowTitle());
    return false;
}

void FormMisure::BottoneConferma() {
    if (!ControllaDati())
        return;
    Valori[units::System] = QString::number(Sistema_);
    const QString currency = cboValuta_->currentText();
    Valori[units::Currency] = currency.left(units::kSymbolWidth) + currency.mid(units::kSymbolWidth + 2);
    for (int row = units::Linear; row <= units::Volume; ++row) {
        const int box = 2 * (row - units::Linear) + 1;
        Valori[row] = units::unitValue(txtMisure_[box]->text(), txtMisure_[box + 1]->text());
    }

    std::vector<qint64> rows;
    {
        SqlStatement select = db_.prepare("SELECT rowid FROM Testi WHERE Programma = 'PARAM' ORDER BY Progressivo");
        while (select.step())
            rows.push_back(select.integer(0));
    }
    const int answer =
        platform().messages->show(translated(u"Applico valori impostati a tutte le lingue") + QStringLiteral(" !!"),
                                  mb::Information, windowTitle());

    QString columns;
    if (answer == mb::Ok) {
        for (int n = 1; n <= texts::kLanguages; ++n)
            columns += texts::languageColumn(n) + QStringLiteral(" = ?1, ");
    } else {
        columns = languageColumn() + QStringLiteral(" = ?1, ");
    }
    SqlStatement update = db_.prepare(
        ("UPDATE Testi SET " + columns + "DataModifica = ?2, Commento = ' ', ChiaviRicerca = ' ' WHERE rowid = ?3")
            .toUtf8());
    const QString changedOn = texts::today();
    for (std::size_t k = 0; k < rows.size(); ++k) {
        if (k >= Valori.size())
            throw std::out_of_range("more unit settings rows than the units window knows");
        update.bind(1, Valori[k]).bind(2, changedOn).bind(3, rows[k]).run();
    }
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
    {
        FormValuta currency(*par_, this);
        currency.run();
    }
    if (NuovoSimbolo.isEmpty())
        return;
    SqlStatement row = db_.prepare("SELECT rowid FROM Testi WHERE Programma = 'PARAM' AND PROGRESSIVO = '02_VAL'");
    if (row.step()) {
        const qint64 rowid = row.integer(0);
        row.reset();
        db_.prepare(("UPDATE Testi SET " + languageColumn() +
                     " = ?1, DataModifica = ?2, Commento = ' ', ChiaviRicerca = ' ' WHERE rowid = ?3")
                        .toUtf8())
            .bind(1, units::unitValue(NuovoSimbolo, NuovaDescrizione))
            .bind(2, texts::today())
            .bind(3, rowid)
            .run();
    }
    // Listed again even when the list has it: the new entry is the one chosen.
    cboValuta_->insertItem(0, currencyEntry(NuovoSimbolo, NuovaDescrizione));
    cboValuta_->setCurrentIndex(0);
}

void FormMisure::txtMisure_LostFocus() {
    if (factorOf(2) != 0 && factorOf(4) != 0 && factorOf(6) != 0 && !symbolOf(1).isEmpty() && !symbolOf(3).isEmpty() &&
        !symbolOf(5).isEmpty())
        Ricalcola();
}

void FormMisure::enableConfirm() const {
    confirm_->setEnabled(true);
}

bool FormMisure::refusesKey(int index, const QString& typed) const {
    if (typed.size() != 1)
        return false;  // not a character: arrows, function keys
    const QChar c = typed.front();
    if (c == u'\'' || c == u'|')
        return true;
    if (c == u'\b' || c == u' ')
        return false;
    if (index % 2 == 0)
        return !((c >= u'0' && c <= u'9') || c == decimal_);
    return false;
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
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            if (confirm_->isEnabled())
                guarded([this] { BottoneConferma(); });
            return;
        case Qt::Key_Escape:
            reject();
            return;
        default:
            ModalForm::keyPressEvent(event);
    }
}

}  // namespace paramcor::ui
