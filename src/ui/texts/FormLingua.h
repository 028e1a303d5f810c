// The language window: twelve languages to choose from, the units button, and a
// globe that turns while the window is open. A language whose numbered folder
// of "Testi" holds files is drawn raised, the others flat; all can be chosen.
#pragma once

#include "texts/LanguageChoice.h"
#include "ui/common/ModalForm.h"

#include <CVLParamcor/Languages.h>

#include <QImage>
#include <QRadioButton>

#include <array>
#include <map>

class QLabel;
class QPushButton;
class QTimer;

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

constexpr int kLanguageOptions = kOfferedLanguages;

// An option button drawn raised or flat.
class LanguageOption final : public QRadioButton {
    Q_OBJECT

public:
    using QRadioButton::QRadioButton;
    bool raised() const { return raised_; }
    void setRaised(bool raised);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    // The whole tile answers a click, not only the circle and the name.
    bool hitButton(const QPoint& pos) const override { return rect().contains(pos); }

private:
    bool raised_ = false;
};

class FormLingua final : public ModalForm {
    Q_OBJECT

public:
    // `chosen` is the current language, which the form starts from.
    FormLingua(Parametri& owner, short chosen, QWidget* parent = nullptr);

    short chosen() const { return choice_.chosen(); }
    // Confirmed on another language than the one current when the form opened.
    bool changed() const { return choice_.changed(); }

    // One tick of Timer1: the next picture of the globe.
    void showNextGlobeFrame();
    // The key of the picture shown, "World1" to "World16".
    QString globeFrameKey() const { return shownKey_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void Bottone_Conferma();
    void openUnits();

    Parametri& owner_;
    texts::LanguageChoice choice_;
    bool centred_ = false;
    std::array<LanguageOption*, kLanguageOptions> options_{};
    QLabel* picture_ = nullptr;
    QTimer* timer_ = nullptr;
    std::map<QString, QImage> images_;  // the image list, by key
    int frame_ = 1;
    QString shownKey_;
};

}  // namespace paramcor::ui
