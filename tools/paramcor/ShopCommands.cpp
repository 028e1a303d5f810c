// The shop's server, as the administrator prepares it and joins the stations to it.
#include "Commands.h"
#include "Session.h"

#include "param/PrivateApi.h"

#include <CVLParamcor/Platform.h>

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

namespace paramcor::tool {
namespace {

// The file that makes this station one of a shop's, beside the installation file.
QString shopFile() {
    return libraryFolder() + QStringLiteral("/negozio.conf");
}

std::string connectionOperand(const QString& text) {
    if (text.trimmed().isEmpty())
        throw UsageError(QStringLiteral("CONNESSIONE names no server: a service of pg_service.conf or a libpq "
                                        "connection string such as \"host=server dbname=paramcor\""));
    return text.trimmed().toStdString();
}

QString diagnosticOf(RegistryStore& store) {
    return QString::fromStdString(store.diagnostic(Hive::LocalMachine));
}

// Whether the shop's machine hive holds nothing yet; a Failure when the server
// cannot be used.
bool serverIsEmpty(RegistryStore& server, const QString& connection) {
    KeyHandle root = 0;
    if (const long rc = server.openKey(Hive::LocalMachine, std::string(), &root))
        throw Failure(QStringLiteral("the shop's server %1 cannot be used (error %2): %3")
                          .arg(connection)
                          .arg(rc)
                          .arg(diagnosticOf(server)));
    std::string name;
    std::uint32_t type = 0;
    const bool empty = server.enumKey(root, 0, &name) == regerr::NoMoreItems &&
                       server.enumValue(root, 0, &name, &type, nullptr) == regerr::NoMoreItems;
    server.closeKey(root);
    return empty;
}

// The station's machine settings onto the server, all or nothing.
std::size_t upload(Session& session, RegistryStore& server, const QString& connection) {
    const regfile::Document document = readKeyTree(session.store(), Hive::LocalMachine, std::string());
    const auto refused = [&](long rc) {
        return Failure(QStringLiteral("the machine settings cannot be written to the shop's server %1 (error %2): %3; "
                                      "nothing was uploaded and the station was not joined")
                           .arg(connection)
                           .arg(rc)
                           .arg(diagnosticOf(server)));
    };
    if (const long rc = server.beginBatch(Hive::LocalMachine))
        throw refused(rc);
    const regfile::Imported done = regfile::importInto(server, document);
    if (done.failure != regerr::Success) {
        server.abortBatch(Hive::LocalMachine);
        throw refused(done.failure);
    }
    if (const long rc = server.commitBatch(Hive::LocalMachine))
        throw refused(rc);
    return done.values;
}

// A new file, never one that is there: the administrator's own is never replaced.
void writeShopFile(const QString& file, const QString& connection) {
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        throw Failure(QStringLiteral("%1 cannot be written: %2").arg(file, out.errorString()));
    out.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    const QByteArray text = "# The shop whose server keeps this station's machine settings, written by\n"
                            "# paramcor negozio collega: a service of pg_service.conf or a libpq connection string.\n" +
                            connection.toUtf8() + '\n';
    if (out.write(text) != text.size() || !out.flush())
        throw Failure(QStringLiteral("%1 cannot be written: %2").arg(file, out.errorString()));
}

}  // namespace

int createShop(Session&, const Arguments&, const QStringList& operands) {
    const std::string connection = connectionOperand(operands[0]);
    const std::string why = privateapi::prepareShop(connection);
    if (!why.empty())
        throw Failure(QStringLiteral("the shop's database %1 cannot be prepared: %2")
                          .arg(operands[0], QString::fromStdString(why)));
    printLine(QStringLiteral("The shop's database %1 is ready. Operators' roles need paramcor_operators, "
                             "everyone else's paramcor_readers (GRANT paramcor_operators TO mario).")
                  .arg(operands[0]));
    return kOk;
}

int joinShop(Session& session, const Arguments&, const QStringList& operands) {
    const std::string connection = connectionOperand(operands[0]);
    const QString name = QString::fromStdString(connection);
    const QString file = shopFile();
    const std::string joined = privateapi::shopConnection(file.toStdString());
    if (!joined.empty() && joined != connection)
        throw Failure(QStringLiteral("this station belongs to the shop %1 already (%2): remove that file first to "
                                     "join another")
                          .arg(QString::fromStdString(joined), file));
    if (!joined.empty()) {
        printLine(QStringLiteral("This station belongs to the shop %1 already (%2).").arg(name, file));
        return kOk;
    }
    // The file is checked before anything reaches the server.
    if (!QFileInfo(QFileInfo(file).absolutePath()).isWritable())
        throw Failure(QStringLiteral("%1 cannot be written here: joining a shop is the administrator's").arg(file));
    const std::unique_ptr<RegistryStore> server = privateapi::shopServer(connection);
    QString uploaded;
    if (serverIsEmpty(*server, name))
        uploaded = QStringLiteral(", which now holds this station's machine settings (%1 values)")
                       .arg(upload(session, *server, name));
    writeShopFile(file, name);
    printLine(QStringLiteral("This station now keeps its machine settings on the shop's server %1%2 (%3).")
                  .arg(name, uploaded, file));
    return kOk;
}

int shopStatus(Session& session, const Arguments&, const QStringList&) {
    const QString file = shopFile();
    const std::string connection = privateapi::shopConnection(file.toStdString());
    if (connection.empty())
        throw Failure(QStringLiteral("this station belongs to no shop: %1 names none").arg(file), kNotFound);
    const QString name = QString::fromStdString(connection);
    printLine(QStringLiteral("Server\t%1 (%2)").arg(name, file));
    const std::unique_ptr<RegistryStore> server = privateapi::shopServer(connection);
    KeyHandle root = 0;
    const long rc = server->openKey(Hive::LocalMachine, std::string(), &root);
    if (rc == regerr::Success)
        server->closeKey(root);
    printLine(QStringLiteral("Connection\t%1").arg(rc == regerr::Success ? QStringLiteral("answers")
                                                                         : diagnosticOf(*server)));
    RegistryStore& station = session.baseStore();
    const QFileInfo applied(QString::fromStdString(station.changeFile(Hive::LocalMachine)));
    printLine(QStringLiteral("Copy\t%1, last change applied %2")
                  .arg(QString::fromStdString(station.location(Hive::LocalMachine)),
                       applied.exists() ? applied.lastModified().toString(Qt::ISODate) : QStringLiteral("never")));
    return rc == regerr::Success ? kOk : kFailed;
}

}  // namespace paramcor::tool
