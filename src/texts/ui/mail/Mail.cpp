#include "texts/ui/mail/Mail.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>
#include <QFile>
#include <QSysInfo>
#include <QUuid>

#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace paramcor::ui::mail {

Settings readSettings(Parametri& owner) {
    Settings s;
    owner.Push();
    owner.CurrentUser();
    owner.Programma(QStringLiteral("Posta"));
    s.server = owner.LeggiParametroStringa(QStringLiteral("ServerSMTP")).trimmed();
    const QString port = owner.LeggiParametroStringa(QStringLiteral("PortaSMTP")).trimmed();
    const QString security = owner.LeggiParametroStringa(QStringLiteral("SicurezzaSMTP")).trimmed().toLower();
    s.user = owner.LeggiParametroStringa(QStringLiteral("UtenteSMTP"));
    s.password = owner.LeggiParametroStringa(QStringLiteral("PasswordSMTP"));
    s.sender = owner.LeggiParametroStringa(QStringLiteral("MittenteSMTP")).trimmed();
    s.recipient = owner.LeggiParametroStringa(QStringLiteral("IndirizzoAssistenza"), kDefaultSupportAddress).trimmed();
    owner.Pop();

    if (security == QLatin1String("starttls"))
        s.security = Settings::Security::StartTls;
    else if (security == QLatin1String("tls"))
        s.security = Settings::Security::Tls;
    bool numeric = false;
    const int given = port.toInt(&numeric);
    s.port = numeric && given > 0 && given < 65536 ? given
             : s.security == Settings::Security::Tls      ? 465
             : s.security == Settings::Security::StartTls ? 587
                                                          : 25;
    if (s.sender.isEmpty())
        s.sender = s.user.contains(u'@') ? s.user.trimmed() : QStringLiteral("cvltrad@") + QSysInfo::machineHostName();
    if (s.recipient.isEmpty())
        s.recipient = kDefaultSupportAddress;
    return s;
}

namespace {

// A header value: as it is when it is plain ASCII, otherwise an encoded word.
QByteArray headerText(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    const bool plain = std::all_of(utf8.begin(), utf8.end(), [](char c) { return c >= 32 && c < 127; });
    return plain ? utf8 : "=?UTF-8?B?" + utf8.toBase64() + "?=";
}

}  // namespace

QByteArray compose(const Message& message, const QDateTime& date) {
    QByteArray text;
    text += "Date: " + date.toString(Qt::RFC2822Date).toLatin1() + "\r\n";
    text += "From: <" + message.from.toUtf8() + ">\r\n";
    text += "To: <" + message.to.toUtf8() + ">\r\n";
    text += "Subject: " + headerText(message.subject) + "\r\n";
    text += "Message-ID: <" + QUuid::createUuid().toString(QUuid::WithoutBraces).toLatin1() + "@cvlparamcor>\r\n";
    text += "MIME-Version: 1.0\r\n";
    text += "Content-Type: text/plain; charset=UTF-8\r\n";
    text += "Content-Transfer-Encoding: base64\r\n";
    text += "X-Mailer: CVLParamcor\r\n";
    text += "\r\n";
    const QByteArray body = message.body.toUtf8().toBase64();
    for (qsizetype at = 0; at < body.size(); at += 76)
        text += body.mid(at, 76) + "\r\n";
    return text;
}

namespace {

struct Upload {
    QByteArray data;
    qsizetype sent = 0;
};

size_t readUpload(char* buffer, size_t size, size_t count, void* user) {
    auto* upload = static_cast<Upload*>(user);
    const size_t left = static_cast<size_t>(upload->data.size() - upload->sent);
    const size_t n = std::min(left, size * count);
    std::memcpy(buffer, upload->data.constData() + upload->sent, n);
    upload->sent += static_cast<qsizetype>(n);
    return n;
}

struct CurlCleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
struct ListCleanup {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

}  // namespace

QString sendSmtp(const Settings& settings, const Message& message) {
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (initialised != CURLE_OK)
        return QString::fromUtf8(curl_easy_strerror(initialised));
    std::unique_ptr<CURL, CurlCleanup> curl(curl_easy_init());
    if (!curl)
        return QStringLiteral("libcurl cannot start");

    const QByteArray url = (settings.security == Settings::Security::Tls ? "smtps://" : "smtp://") +
                           settings.server.toUtf8() + ':' + QByteArray::number(settings.port);
    const QByteArray from = '<' + settings.sender.toUtf8() + '>';
    const QByteArray to = '<' + message.to.toUtf8() + '>';
    const QByteArray user = settings.user.toUtf8();
    const QByteArray password = settings.password.toUtf8();
    std::unique_ptr<curl_slist, ListCleanup> recipients(curl_slist_append(nullptr, to.constData()));
    Upload upload{compose(message, QDateTime::currentDateTime())};
    char error[CURL_ERROR_SIZE] = {};

    CURL* c = curl.get();
    curl_easy_setopt(c, CURLOPT_URL, url.constData());
    curl_easy_setopt(c, CURLOPT_MAIL_FROM, from.constData());
    curl_easy_setopt(c, CURLOPT_MAIL_RCPT, recipients.get());
    curl_easy_setopt(c, CURLOPT_READFUNCTION, &readUpload);
    curl_easy_setopt(c, CURLOPT_READDATA, &upload);
    curl_easy_setopt(c, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(c, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(upload.data.size()));
    curl_easy_setopt(c, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
    // A server that does not answer must not hang the window for long.
    curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT, 20L);
    curl_easy_setopt(c, CURLOPT_TIMEOUT, 120L);
    if (settings.security == Settings::Security::StartTls)
        curl_easy_setopt(c, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    if (!settings.user.isEmpty()) {
        curl_easy_setopt(c, CURLOPT_USERNAME, user.constData());
        curl_easy_setopt(c, CURLOPT_PASSWORD, password.constData());
    }
    const CURLcode result = curl_easy_perform(c);
    if (result == CURLE_OK)
        return {};
    return QString::fromUtf8(error[0] != '\0' ? error : curl_easy_strerror(result));
}

QString writeToOutbox(const QString& folder, const QString& name, const Message& message) {
    if (!QDir().mkpath(folder))
        return {};
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const QString path = QDir(folder).filePath(
            name + (attempt == 0 ? QString() : QStringLiteral("-%1").arg(attempt)) + QStringLiteral(".eml"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            continue;
        const QByteArray text = compose(message, QDateTime::currentDateTime());
        if (file.write(text) != text.size() || !file.flush())
            return {};
        return QDir::toNativeSeparators(path);
    }
    return {};
}

}  // namespace paramcor::ui::mail
