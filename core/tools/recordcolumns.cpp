// Writes RecordColumns.h: for every table of the schema, the macro NEXO_COLUMNS_<table> that a
// record class puts after Q_OBJECT to get a property and typed accessors per column (the key
// and the audit columns are the lifecycle's own). Run by the build, so that a column is
// declared once, in the schema, and a record cannot name one the table lacks.
#include "Schema.h"
#include <QFile>
#include <QTextStream>
#include <cstdio>

using namespace NexoFrame;

namespace {

struct Type {
    const char* cpp;
    const char* param;
    const char* read;
};

Type typeOf(ColType t)
{
    switch (t) {
    case ColType::Long: return {"int", "int", "toInt()"};
    case ColType::Bool: return {"bool", "bool", "toBool()"};
    case ColType::Text:
    case ColType::Memo: return {"QString", "const QString&", "toString()"};
    case ColType::Date:
    case ColType::DateTime: return {"QDateTime", "const QDateTime&", "toDateTime()"};
    case ColType::Double: return {"double", "double", "toDouble()"};
    }
    return {"QVariant", "const QVariant&", "value<QVariant>()"};
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT\n", argv[0]);
        return 2;
    }
    QString text;
    QTextStream out(&text);
    out << "// Written by the build from the schema (connection/Schema.cpp): do not edit.\n#pragma once\n";
    for (const TableDef& t : Schema::instance().tables()) {
        if (t.isView()) continue;
        QStringList properties, accessors;
        // A record holds its key first, then the other columns in the table's order.
        int position = 0;
        for (const ColumnDef& c : t.columns) {
            if (c.name == t.primaryKey) continue;
            ++position;
            if (isAuditColumn(c.name)) continue;
            const Type type = typeOf(c.type);
            const QString n = c.name;
            properties << QStringLiteral("    Q_PROPERTY(%1 %2 READ %2 WRITE set_%2)").arg(QLatin1String(type.cpp), n);
            accessors << QStringLiteral("    %1 %2() const { return valueAt(%3).%4; }")
                             .arg(QLatin1String(type.cpp), n)
                             .arg(position)
                             .arg(QLatin1String(type.read))
                      << QStringLiteral("    void set_%1(%2 v) { setValueAt(%3, v); }").arg(n, QLatin1String(type.param)).arg(position);
        }
        out << "\n#define NEXO_COLUMNS_" << t.name << " \\\n";
        for (const QString& l : properties) out << l << " \\\n";
        out << "public: \\\n";
        for (int i = 0; i < accessors.size(); ++i) out << accessors[i] << (i + 1 < accessors.size() ? " \\\n" : "\n");
        if (accessors.isEmpty()) out << "\n";
    }
    out.flush();
    // Written only when it changes, so that nothing is built again for nothing.
    QFile f(QString::fromLocal8Bit(argv[1]));
    if (f.open(QIODevice::ReadOnly) && f.readAll() == text.toUtf8()) return 0;
    f.close();
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fprintf(stderr, "cannot write %s\n", argv[1]);
        return 1;
    }
    f.write(text.toUtf8());
    return 0;
}
