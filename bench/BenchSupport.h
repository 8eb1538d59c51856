#pragma once
// What the benchmarks share: failing loudly, a host site, plain statements, a throwaway
// database on the server, and a usage log of a million rows.
#include "Connection.h"
#include "IAddin.h"
#include "ReaderRole.h"
#include <QCoreApplication>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <cstdio>
#include <cstdlib>

namespace NexoFrame::Bench {

[[noreturn]] inline void fail(const QString& what)
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(QCoreApplication::applicationName()), qPrintable(what));
    std::exit(1);
}

// The host's side for a panel under measure: logged in as user 1.
class BenchSite : public IAddinSite {
public:
    explicit BenchSite(Connection* c) : m_c(c) { c->session().setUserId(1); }
    Session* session() override { return &m_c->session(); }

private:
    Connection* m_c;
};

inline void exec(QSqlQuery& q, const QString& sql)
{
    if (!q.exec(sql)) fail(sql.left(200) + QStringLiteral(": ") + q.lastError().text());
}

// `users` live users, a three-level menu of 60 items, and `rows` menu-log rows spread over
// the users and two years, ids following time as a log written as it happens does.
void generateMenuLog(Connection& c, int users, int rows);

// A fresh database on the server for one part of the run, dropped at the end. As on an
// office's server, the program logs in as an ordinary role that owns the database, and user
// SQL runs as the database's reader role: the schema (empty) and the reader are made here.
class ServerDatabase {
public:
    ServerDatabase(const QString& server, const QString& name) : m_server(server), m_name(name)
    {
        admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(m_name));
        admin(QStringLiteral("DO $$BEGIN IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'nexo_app') THEN "
                             "CREATE ROLE nexo_app LOGIN; END IF; END$$"));
        admin(QStringLiteral("CREATE DATABASE %1 OWNER nexo_app").arg(m_name));
        QString err;
        if (!Connection::openDatabase(target(), Connection::DemoData::None, &err)) fail(err);
        if (!ReaderRole::create(adminTarget(), &err)) fail(err);
    }
    ~ServerDatabase()
    {
        admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(m_name));
        admin(QStringLiteral("DROP ROLE IF EXISTS %1").arg(ReaderRole::nameFor(m_name)));
    }
    QString target() const
    {
        QUrl u(adminTarget());
        u.setUserName(QStringLiteral("nexo_app"));
        u.setPassword(QString());
        return u.toString();
    }
    QString adminTarget() const
    {
        QUrl u(m_server);
        u.setPath(QLatin1Char('/') + m_name);
        return u.toString();
    }

private:
    void admin(const QString& sql)
    {
        Connection c(makePostgresEngine());
        QString err;
        if (!c.open(m_server, &err) || !c.execute(sql, {}, &err)) fail(err);
    }
    QString m_server, m_name;
};

} // namespace NexoFrame::Bench
