// Mails as the maker receives them: parsed from what was written or delivered,
// and a real SMTP server on the loopback interface to deliver them to.
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <map>
#include <vector>

namespace paramcor::test {

// A received or written message: its headers by lower-cased name and its body decoded.
struct ReceivedMail {
    std::map<QByteArray, QByteArray> headers;
    QByteArray body;
};
ReceivedMail parseMail(const QByteArray& text);

// A real SMTP server on the loopback interface, started by the test, that stops
// by itself when the test no longer needs it. From message `rejectFrom` on (when
// given) it refuses what it is sent.
class SmtpServer {
public:
    explicit SmtpServer(int rejectFrom = 0);
    ~SmtpServer();
    int port() const { return port_; }
    struct Delivery {
        QStringList envelope;
        ReceivedMail mail;
    };
    std::vector<Delivery> received() const;

private:
    QTemporaryDir received_;
    QProcess process_;
    int port_ = 0;
};

}  // namespace paramcor::test
