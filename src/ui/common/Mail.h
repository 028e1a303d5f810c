// The correction mails to the maker: the settings kept in the registry, the
// message in standard form, and its delivery by SMTP or into the outbox folder.
//
// Settings are string values of the key "Posta" under the suite's registry root
// in the current user's store:
//     ServerSMTP           host name or address; empty: mails go to the outbox
//     PortaSMTP            port; empty: 25, 587 with STARTTLS, 465 with TLS
//     SicurezzaSMTP        "" or "nessuna", "starttls", "tls"
//     UtenteSMTP, PasswordSMTP   login; no login when the user is empty
//     MittenteSMTP         sender address; empty: the user when it is an address,
//                          otherwise "cvltrad@" + the workstation's name
//     IndirizzoAssistenza  the maker's support address, stored with its default
//                          (kDefaultSupportAddress) the first time it is read
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace paramcor {
class Parametri;
}

namespace paramcor::ui::mail {

inline const QString kDefaultSupportAddress = QStringLiteral("traduzioni@corvel.it");

struct Settings {
    enum class Security { None, StartTls, Tls };
    QString server;
    int port = 25;
    Security security = Security::None;
    QString user;
    QString password;
    QString sender;
    QString recipient;  // the maker's support address
};

// Reads the settings; the caller's registry selection is left as it was.
Settings readSettings(Parametri& owner);

struct Message {
    QString from;
    QString to;
    QString subject;
    QString body;  // sent byte for byte, whatever its line ends
};

// The message as RFC 5322 text with CRLF line ends: plain UTF-8 text, its body in
// base64 so that every byte arrives as written (trailing blanks included). A
// subject that is not short plain ASCII goes in encoded words of at most 75
// characters, one per line.
QByteArray compose(const Message& message, const QDateTime& date);

// Delivers the message; empty on success, otherwise why it failed.
QString sendSmtp(const Settings& settings, const Message& message);

// The outbox of the mails that have no server: in the user's own data folder,
// since the mails hold the user's address and corrections.
QString outboxFolder();

// Writes the message as `name`.eml into `folder` (made when missing, for the user
// alone), never over another file, readable by the user alone; the file's path,
// or empty when it cannot be written.
QString writeToOutbox(const QString& folder, const QString& name, const Message& message);

}  // namespace paramcor::ui::mail
