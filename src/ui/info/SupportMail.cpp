#include "ui/info/SupportMail.h"

#include "ui/common/Mail.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>

#include <QDateTime>
#include <QDir>

namespace paramcor::ui {

bool mailToSupport(Parametri& owner, const QString& about, const QString& body, const QString& title) {
    const mail::Settings settings = mail::readSettings(owner);
    mail::Message message;
    message.from = settings.sender;
    message.to = settings.recipient;
    message.subject = (QStringLiteral("[CVLINFO] ") + about).trimmed();
    message.body = body;

    if (settings.server.isEmpty()) {
        const QString outbox = QDir::toNativeSeparators(mail::outboxFolder());
        const QString name =
            QStringLiteral("CVLINFO-") + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
        if (mail::writeToOutbox(outbox, name, message).isEmpty()) {
            platform().messages->show(
                owner.Traduci(QStringLiteral("Invio E-Mail non riuscito")) + QStringLiteral(": ") +
                    owner.Traduci(QStringLiteral("Impossibile scrivere nella cartella")) + u' ' + outbox,
                mb::Critical, title);
            return false;
        }
        platform().messages->show(
            owner.Traduci(QStringLiteral("Nessun server di posta configurato: le mail sono nella cartella")) + u'\n' +
                outbox,
            mb::Information, title);
        return true;
    }
    const QString failure = mail::sendSmtp(settings, message);
    if (!failure.isEmpty()) {
        platform().messages->show(
            owner.Traduci(QStringLiteral("Invio E-Mail non riuscito")) + QStringLiteral(": ") + failure, mb::Critical,
            title);
        return false;
    }
    platform().messages->show(owner.Traduci(QStringLiteral("Informazioni inviate a")) + u' ' + settings.recipient,
                              mb::Information, title);
    return true;
}

}  // namespace paramcor::ui
