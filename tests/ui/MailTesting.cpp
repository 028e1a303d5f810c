#include "MailTesting.h"

#include "support/TextFiles.h"

#include <QFile>
#include <QtTest/QTest>

#include <gtest/gtest.h>

namespace paramcor::test {

ReceivedMail parseMail(const QByteArray& text) {
    ReceivedMail mail;
    const qsizetype end = text.indexOf("\r\n\r\n");
    EXPECT_GE(end, 0) << "no end of headers";
    for (const QByteArray& line : text.left(end).split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0)
            mail.headers[line.left(colon).trimmed().toLower()] = line.mid(colon + 1).trimmed();
    }
    EXPECT_EQ(mail.headers["content-transfer-encoding"], "base64");
    EXPECT_EQ(mail.headers["content-type"], "text/plain; charset=UTF-8");
    mail.body = QByteArray::fromBase64(text.mid(end + 4).replace("\r\n", ""));
    return mail;
}

SmtpServer::SmtpServer(int rejectFrom) {
    QStringList arguments{QStringLiteral(SMTP_SINK), received_.path(), QStringLiteral("120")};
    arguments << (rejectFrom > 0 ? QStringList{QString::number(rejectFrom)} : QStringList{});
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start(QStringLiteral(SMTP_SINK_PYTHON), arguments);
    if (!process_.waitForStarted(10000))
        return;
    QFile portFile(received_.filePath("port"));
    for (int attempt = 0; attempt < 300 && !portFile.exists() && process_.state() == QProcess::Running; ++attempt)
        QTest::qWait(50);
    if (portFile.open(QIODevice::ReadOnly))
        port_ = portFile.readAll().toInt();
}

SmtpServer::~SmtpServer() {
    process_.closeWriteChannel();
    if (!process_.waitForFinished(10000))
        process_.kill(), process_.waitForFinished(5000);
}

std::vector<SmtpServer::Delivery> SmtpServer::received() const {
    std::vector<Delivery> all;
    for (int n = 1; QFile::exists(received_.filePath(QStringLiteral("%1.eml").arg(n))); ++n) {
        const QString base = received_.filePath(QString::number(n));
        all.push_back({QString::fromUtf8(fileBytes(base + ".envelope")).split('\n', Qt::SkipEmptyParts),
                       parseMail(fileBytes(base + ".eml"))});
    }
    return all;
}

}  // namespace paramcor::test
