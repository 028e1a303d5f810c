// The system information on its way to the maker's support: a mail through the
// same delivery as the correction mails (SMTP, or the outbox folder when no server
// is set), with the outcome told to the user.
#pragma once

#include <QString>

namespace paramcor {
class Parametri;
}

namespace paramcor::ui {

// Sends `body` to the support address under the subject "[CVLINFO] " + `about`;
// messages are titled `title`. True when the mail was sent or left in the outbox.
bool mailToSupport(Parametri& owner, const QString& about, const QString& body, const QString& title);

}  // namespace paramcor::ui
