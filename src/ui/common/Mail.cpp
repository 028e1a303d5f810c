#include "ui/common/Mail.h"

#include <CVLParamcor/Parametri.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QSysInfo>
#include <QUuid>

#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include <unistd.h>

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
    s.port = numeric && given > 0 && given < 65536        ? given
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

// A header's value after "Name: ": as it is when it is plain ASCII and fits the
// line, otherwise encoded words of whole characters, each on a line of at most 76
// characters (RFC 2047), the first sharing its line with the header's name.
QByteArray headerText(const QByteArray& name, const QString& text) {
    constexpr qsizetype kLine = 76;
    constexpr qsizetype kFrame = 12;  // "=?UTF-8?B?" and "?="
    const QByteArray utf8 = text.toUtf8();
    const bool plain = std::all_of(utf8.begin(), utf8.end(), [](char c) { return c >= 32 && c < 127; });
    if (plain && name.size() + 2 + utf8.size() <= kLine)
        return utf8;
    QByteArray out;
    QByteArray word;
    // Bytes a word may hold: its base64 fits the room left on its line.
    qsizetype room = (kLine - name.size() - 2 - kFrame) / 4 * 3;
    auto flush = [&] {
        if (!out.isEmpty())
            out += "\r\n ";
        out += "=?UTF-8?B?" + word.toBase64() + "?=";
        word.clear();
        room = (kLine - 1 - kFrame) / 4 * 3;
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const qsizetype units = text.at(i).isHighSurrogate() && i + 1 < text.size() ? 2 : 1;
        const QByteArray character = text.mid(i, units).toUtf8();
        i += units - 1;
        if (word.size() + character.size() > room)
            flush();
        word += character;
    }
    if (!word.isEmpty() || out.isEmpty())
        flush();
    return out;
}

}  // namespace

QByteArray compose(const Message& message, const QDateTime& date) {
    QByteArray text;
    text += "Date: " + date.toString(Qt::RFC2822Date).toLatin1() + "\r\n";
    text += "From: <" + message.from.toUtf8() + ">\r\n";
    text += "To: <" + message.to.toUtf8() + ">\r\n";
    text += "Subject: " + headerText("Subject", message.subject) + "\r\n";
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

QString outboxFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/CVLParamcor/Outbox");
}

QString writeToOutbox(const QString& folder, const QString& name, const Message& message) {
    constexpr QFile::Permissions kPrivate = QFile::ReadOwner | QFile::WriteOwner;
    const QFileInfo parent(QFileInfo(folder).absolutePath());
    if (!QDir().mkpath(parent.absoluteFilePath()))
        return {};
    if (!QFileInfo::exists(folder) && !QDir().mkdir(folder, kPrivate | QFile::ExeOwner))
        return {};
    // One made before, by this user, loses what others could see.
    if (QFileInfo(folder).ownerId() == ::getuid())
        QFile::setPermissions(folder, kPrivate | QFile::ExeOwner);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const QString path = QDir(folder).filePath(
            name + (attempt == 0 ? QString() : QStringLiteral("-%1").arg(attempt)) + QStringLiteral(".eml"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly, kPrivate))
            continue;
        const QByteArray text = compose(message, QDateTime::currentDateTime());
        if (file.write(text) != text.size() || !file.flush())
            return {};
        return QDir::toNativeSeparators(path);
    }
    return {};
}

}  // namespace paramcor::ui::mail
