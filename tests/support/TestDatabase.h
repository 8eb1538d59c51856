#pragma once
#include "Connection.h"
#include <QString>
#include <QTemporaryDir>
#include <memory>

namespace NexoFrame {

// The engine a suite runs on: NEXO_TEST_ENGINE is "sqlite" or "postgres" (CTest registers
// every database suite once per engine). PostgreSQL needs NEXO_TEST_PG, a libpq URI of a
// server where databases may be created; without it the suite fails, it never skips.
bool testingPostgres();

// A fresh, empty database of the engine under test: a file in a temporary folder, or a
// new database on the test server, dropped again when this goes.
class TestDatabase {
public:
    TestDatabase();
    ~TestDatabase();
    TestDatabase(const TestDatabase&) = delete;
    TestDatabase& operator=(const TestDatabase&) = delete;

    // What Connection::openDatabase and the shell's --db take.
    QString target() const { return m_target; }
    // Opens it (with the demo data unless told otherwise); fails the test process on error.
    // On the server the program logs in as an ordinary role that owns the database, and the
    // first open also makes the database's reader role (as `--create-reader` does).
    std::unique_ptr<Connection> open(Connection::DemoData demo = Connection::DemoData::IfEmpty) const;
    // The reader role made (again) now, for a database whose schema another process made.
    void makeReader() const;
    // Nothing stays locked or open on `c`, and a connection of its own can take the master lock.
    bool released(Connection& c) const;
    // The same database as the server's superuser (empty for a file).
    QString adminTarget() const { return m_adminTarget; }
    // The program's role on the test server.
    static QString programRole();
    // A folder for the test's own files.
    QString filePath(const QString& name) const { return m_dir.filePath(name); }

    // The test server's URI with another user, password or database put in.
    static QString serverUri(const QString& user, const QString& password, const QString& database);

private:
    QTemporaryDir m_dir;
    QString m_target;
    QString m_serverDb; // the database made on the server, if any
    QString m_adminTarget;
    mutable bool m_readerMade = false;
};

} // namespace NexoFrame
