#pragma once
// What the benchmarks share: failing loudly, and a throwaway database on the server.
#include "Connection.h"
#include <QCoreApplication>
#include <QUrl>
#include <cstdio>
#include <cstdlib>

namespace NexoFrame::Bench {

[[noreturn]] inline void fail(const QString& what)
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(QCoreApplication::applicationName()), qPrintable(what));
    std::exit(1);
}

// A fresh database on the server for one part of the run, dropped at the end.
class ServerDatabase {
public:
    ServerDatabase(const QString& server, const QString& name) : m_server(server), m_name(name)
    {
        admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(m_name));
        admin(QStringLiteral("CREATE DATABASE %1").arg(m_name));
    }
    ~ServerDatabase() { admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(m_name)); }
    QString target() const
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
