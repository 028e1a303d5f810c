// The tool's texts from the run's library and its text database.
#pragma once

#include "Wording.h"

#include <QHash>

namespace paramcor {
class Parametri;
}

namespace paramcor::tool {

class Session;

// Installs itself as the text source while it lives.
class SessionTexts final : public TextSource {
public:
    explicit SessionTexts(Session* session);
    ~SessionTexts() override;
    SessionTexts(const SessionTexts&) = delete;
    SessionTexts& operator=(const SessionTexts&) = delete;

    QString translate(const QString& english) override;

private:
    void lookForTexts();

    Session* session_;
    Parametri* parametri_ = nullptr;
    bool looked_ = false;
    QHash<QString, QString> italianOf_;  // the tool's rows translated into the language: English -> Italian
};

}  // namespace paramcor::tool
