#pragma once
#include "Connection.h"
#include "IAddin.h"
#include "TestDatabase.h"
#include <memory>

namespace NexoFrame {

// A host site over a fresh demo database of the engine under test.
class TestSite : public IAddinSite {
public:
    explicit TestSite(int userId = 1) : m_connection(m_db.open()), m_userId(userId)
    {
        m_connection->setCurrentUserId(userId);
    }
    Connection* connection() override { return m_connection.get(); }
    int currentUserId() override { return m_userId; }
    Connection& db() { return *m_connection; }
    // What another connection opens to reach the same database.
    QString target() const { return m_db.target(); }

private:
    TestDatabase m_db;
    std::unique_ptr<Connection> m_connection;
    int m_userId;
};

} // namespace NexoFrame
