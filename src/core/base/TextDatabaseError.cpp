// In the core library alone, not with the SQLite wrapper in the helpers that the
// windows' library links too: the constructor, the virtual table and the type
// information a caller catches by exist once.
#include <CVLParamcor/TextDatabaseError.h>

namespace paramcor {

TextDatabaseError::TextDatabaseError(int code, const QString& message)
    : std::runtime_error(message.toStdString()), code_(code) {}

TextDatabaseError::~TextDatabaseError() = default;

}  // namespace paramcor
