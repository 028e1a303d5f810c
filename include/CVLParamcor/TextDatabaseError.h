// Apart from Parametri.h, so that the SQLite wrapper below the library can raise it.
#pragma once

#include <CVLParamcor/Export.h>

#include <QString>

#include <stdexcept>

namespace paramcor {

/// A failure of the text database that reaches the caller: raised by
/// ControllaValori (and by the windows' work on the database), never by the rest of
/// this interface. code() is the database engine's error code.
class CVLPARAMCOR_EXPORT TextDatabaseError : public std::runtime_error {
public:
    /// `code` is the engine's error code, `message` its text.
    TextDatabaseError(int code, const QString& message);
    ~TextDatabaseError() override;
    int code() const noexcept { return code_; }                      ///< the engine's error code
    QString message() const { return QString::fromUtf8(what()); }  ///< the engine's message

private:
    int code_;
};

}  // namespace paramcor
