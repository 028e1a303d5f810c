// The choice of a language in the language window: which language is chosen, whether
// the choice changes the current one, and which languages look installed.
#pragma once

#include <QString>

namespace paramcor::texts {

class LanguageChoice {
public:
    // `current` is the language when the window opens; none (0) starts from Italian.
    LanguageChoice(short current, const QString& textsFolder);

    short chosen() const { return chosen_; }
    void choose(short language) { chosen_ = language; }
    // Confirmed on another language than the current one.
    bool changed() const { return changed_; }
    void confirm() { changed_ = chosen_ != current_; }

    // Only a hint: the language's numbered folder of "Testi" holds a file.
    bool installed(int language) const;

private:
    short current_;
    short chosen_;
    bool changed_ = false;
    QString folder_;
};

}  // namespace paramcor::texts
