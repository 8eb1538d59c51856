#pragma once
#include "Connection.h"
#include "IAddin.h"
#include <QTemporaryDir>
#include <memory>

namespace NexoFrame {

// A host site over a fresh demo database in a temporary folder.
class TestSite : public IAddinSite {
public:
    explicit TestSite(int userId = 1) : m_userId(userId)
    {
        QString err;
        m_connection = Connection::openSqlite(m_dir.filePath(QStringLiteral("test.sqlite")), true, &err);
        if (!m_connection) qFatal("test database: %s", qPrintable(err));
        m_connection->setCurrentUserId(userId);
    }
    Connection* connection() override { return m_connection.get(); }
    int currentUserId() override { return m_userId; }
    Connection& db() { return *m_connection; }
    QString path() const { return m_dir.filePath(QStringLiteral("test.sqlite")); }

private:
    QTemporaryDir m_dir;
    std::unique_ptr<Connection> m_connection;
    int m_userId;
};

} // namespace NexoFrame
