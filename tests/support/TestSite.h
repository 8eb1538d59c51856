#pragma once
#include "Connection.h"
#include "IAddin.h"
#include "Module.h"
#include "TestDatabase.h"
#include <memory>

namespace NexoFrame {

// A host site over a fresh demo database of the engine under test.
class TestSite : public IAddinSite {
public:
    explicit TestSite(int userId = 1) : m_connection(m_db.open())
    {
        m_connection->session().setUserId(userId);
    }
    Session* session() override { return &m_connection->session(); }
    Connection& db() { return *m_connection; }
    // What another connection opens to reach the same database.
    QString target() const { return m_db.target(); }

private:
    TestDatabase m_db;
    std::unique_ptr<Connection> m_connection;
};

// A test site the module's records and forms work through from the start, as a panel's
// attach would hand it over.
class ModuleSite : public TestSite {
public:
    explicit ModuleSite(int userId = 1) : TestSite(userId) { module().takeSite(this); }
};

} // namespace NexoFrame
