// The units window: the unit system, the currency, and the symbols and
// conversion factors of lengths, areas and volumes, kept in the five unit
// settings rows of the text database, with worked examples of the factors.
//
// It works on a Parametri object of its own and opens the text database itself.
// Failures are not handled here, they reach the code that opened the window:
// database errors as TextDatabaseError; and, when the rows are missing or hold
// no usable factor, std::invalid_argument (a factor that is not a number),
// std::domain_error (a factor of zero) or std::out_of_range (a unit system,
// language or row count outside what the window knows).
#pragma once

#include "ui/common/ModalForm.h"
#include "units/UnitSettings.h"

#include <array>
#include <memory>

class QAction;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

class FormMisure final : public ModalForm {
    Q_OBJECT

public:
    // Loads: throws what the loading raises.
    explicit FormMisure(QWidget* parent = nullptr);
    ~FormMisure() override;

    int Sistema() const { return Sistema_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    void setCaptions();
    void VisualizzaDefault(int system);
    void Ricalcola();
    bool ControllaDati();
    void BottoneConferma();
    void optSistema_Click(int index);
    void cmdDefault_Click(int index);
    void cmdValuta_Click();
    void txtMisure_LostFocus();
    // Whether a key typed in box `index` is refused.
    bool refusesKey(int index, const QString& typed) const;
    void enableConfirm() const;

    QString translated(const char16_t* wording) const;
    // What the boxes hold now.
    units::UnitEntries entries() const;

    std::unique_ptr<Parametri> par_;
    std::unique_ptr<units::UnitSettings> settings_;
    units::Translate translate_;
    QChar decimal_;
    int Sistema_ = 0;
    bool loaded_ = false;

    std::array<QRadioButton*, 3> optSistema_{};
    std::array<QPushButton*, 3> cmdDefault_{};
    QComboBox* cboValuta_ = nullptr;
    QPushButton* cmdValuta_ = nullptr;
    std::array<QLineEdit*, 7> txtMisure_{};  // 1 to 6
    std::array<QLabel*, 5> lblMisure_{};
    QLabel* lblFattore_ = nullptr;
    QLabel* lblSimbolo_ = nullptr;
    QWidget* frmEsempio_ = nullptr;
    std::array<QLabel*, 4> lblEsempio_{};
    QAction* confirm_ = nullptr;
    QAction* leave_ = nullptr;
};

}  // namespace paramcor::ui
