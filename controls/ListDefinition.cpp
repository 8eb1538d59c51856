#include "ListDefinition.h"
#include "SqlExec.h"
#include "Connection.h"
#include "DateFormats.h"
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QRegularExpression>

namespace NexoFrame::Controls {

namespace {

const QString kFormat = QStringLiteral("nexo-lista");
// A definition names a column its source lacks (%1: the source, %2: the column).
const QString kNoSuchColumn = QStringLiteral("A(z) „%1” forrásnak nincs „%2” oszlopa.");

struct OpInfo {
    ListOp op;
    const char* key;
    const char* name;
    int values;
};

const OpInfo kOps[] = {
    {ListOp::Contains, "contains", "tartalmazza", 1},  {ListOp::BeginsWith, "begins", "így kezdődik", 1},
    {ListOp::Equals, "equals", "egyenlő", 1},          {ListOp::NotEquals, "not_equals", "nem egyenlő", 1},
    {ListOp::From, "from", "legalább (-tól)", 1},      {ListOp::To, "to", "legfeljebb (-ig)", 1},
    {ListOp::Between, "between", "között", 2},         {ListOp::Yes, "yes", "igen", 0},
    {ListOp::No, "no", "nem", 0},                      {ListOp::Empty, "empty", "üres", 0},
    {ListOp::NotEmpty, "not_empty", "nem üres", 0},
};

const OpInfo& info(ListOp op)
{
    for (const OpInfo& i : kOps)
        if (i.op == op) return i;
    return kOps[2];
}

bool isText(ColType t) { return t == ColType::Text || t == ColType::Memo; }
bool isNumber(ColType t) { return t == ColType::Long || t == ColType::Double; }
bool isDate(ColType t) { return t == ColType::Date || t == ColType::DateTime; }

// "%" and "_" typed by the user are looked for, not wildcards.
QString likeEscaped(QString v)
{
    v.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    v.replace(QLatin1Char('%'), QStringLiteral("\\%"));
    v.replace(QLatin1Char('_'), QStringLiteral("\\_"));
    return v;
}

bool numberOf(const QString& text, ColType type, QVariant* out)
{
    QString t = text.trimmed();
    t.remove(QLatin1Char(' '));
    t.replace(QLatin1Char(','), QLatin1Char('.'));
    bool ok = false;
    if (type == ColType::Long) {
        const qlonglong v = t.toLongLong(&ok);
        if (ok) *out = v;
        return ok;
    }
    const double v = t.toDouble(&ok);
    if (ok) *out = v;
    return ok;
}

} // namespace

bool ListDefinition::asksParameters() const
{
    for (const ListCondition& c : conditions)
        if (!c.ask.trimmed().isEmpty()) return true;
    return false;
}

QByteArray ListDefinition::toJson() const
{
    QJsonObject o{{"format", kFormat}, {"version", kVersion}, {"source", source}};
    QJsonArray cols;
    for (const ListColumn& c : columns) cols.append(QJsonObject{{"field", c.field}, {"caption", c.caption}});
    o.insert(QStringLiteral("columns"), cols);
    o.insert(QStringLiteral("match"), matchAny ? QStringLiteral("any") : QStringLiteral("all"));
    QJsonArray conds;
    for (const ListCondition& c : conditions) {
        QJsonObject j{{"field", c.field}, {"op", operatorKey(c.op)}};
        if (operatorValues(c.op) >= 1) j.insert(QStringLiteral("value"), c.value);
        if (operatorValues(c.op) == 2) j.insert(QStringLiteral("value2"), c.value2);
        if (!c.ask.trimmed().isEmpty()) j.insert(QStringLiteral("ask"), c.ask.trimmed());
        conds.append(j);
    }
    o.insert(QStringLiteral("conditions"), conds);
    QJsonArray order;
    for (const ListSortKey& s : sort) {
        QJsonObject j{{"field", s.field}};
        if (s.descending) j.insert(QStringLiteral("descending"), true);
        order.append(j);
    }
    o.insert(QStringLiteral("sort"), order);
    if (!groupField.isEmpty())
        o.insert(QStringLiteral("group"), QJsonObject{{"field", groupField}, {"sums", QJsonArray::fromStringList(sums)}});
    return QJsonDocument(o).toJson(QJsonDocument::Indented);
}

bool ListDefinition::fromJson(const QByteArray& json, ListDefinition* out, QString* error)
{
    const auto fail = [error](const QString& why) {
        if (error) *error = QStringLiteral("A lista leírása hibás: %1").arg(why);
        return false;
    };
    QJsonParseError pe;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &pe);
    if (pe.error != QJsonParseError::NoError || !doc.isObject()) return fail(QStringLiteral("nem olvasható JSON."));
    const QJsonObject o = doc.object();
    if (o.value(QStringLiteral("format")).toString() != kFormat) return fail(QStringLiteral("nem a listavarázsló leírása."));
    const int version = o.value(QStringLiteral("version")).toInt(0);
    if (version < 1 || version > kVersion)
        return fail(QStringLiteral("a(z) %1. változatát ez a program nem ismeri (legfeljebb %2.).").arg(version).arg(kVersion));
    ListDefinition d;
    d.source = o.value(QStringLiteral("source")).toString();
    if (d.source.isEmpty()) return fail(QStringLiteral("nincs megadva a forrás."));
    for (const QJsonValue& v : o.value(QStringLiteral("columns")).toArray()) {
        const QJsonObject c = v.toObject();
        d.columns.append({c.value(QStringLiteral("field")).toString(), c.value(QStringLiteral("caption")).toString()});
    }
    const QString match = o.value(QStringLiteral("match")).toString(QStringLiteral("all"));
    if (match != QLatin1String("all") && match != QLatin1String("any")) return fail(QStringLiteral("a „match” értéke „%1”.").arg(match));
    d.matchAny = match == QLatin1String("any");
    for (const QJsonValue& v : o.value(QStringLiteral("conditions")).toArray()) {
        const QJsonObject c = v.toObject();
        ListCondition k;
        k.field = c.value(QStringLiteral("field")).toString();
        const QString op = c.value(QStringLiteral("op")).toString();
        bool known = false;
        for (const OpInfo& i : kOps)
            if (op == QLatin1String(i.key)) {
                k.op = i.op;
                known = true;
            }
        if (!known) return fail(QStringLiteral("ismeretlen feltétel: „%1”.").arg(op));
        // Numbers may be written as JSON numbers too.
        const auto text = [&](const char* key) {
            const QJsonValue x = c.value(QLatin1String(key));
            return x.isDouble() ? QString::number(x.toDouble(), 'g', 15) : x.toString();
        };
        k.value = text("value");
        k.value2 = text("value2");
        k.ask = c.value(QStringLiteral("ask")).toString();
        d.conditions.append(k);
    }
    for (const QJsonValue& v : o.value(QStringLiteral("sort")).toArray()) {
        const QJsonObject s = v.toObject();
        d.sort.append({s.value(QStringLiteral("field")).toString(), s.value(QStringLiteral("descending")).toBool()});
    }
    const QJsonObject g = o.value(QStringLiteral("group")).toObject();
    d.groupField = g.value(QStringLiteral("field")).toString();
    for (const QJsonValue& v : g.value(QStringLiteral("sums")).toArray()) d.sums << v.toString();
    *out = d;
    return true;
}

const ListSourceColumn* ListSource::column(const QString& field) const
{
    for (const ListSourceColumn& c : columns)
        if (c.field.compare(field, Qt::CaseInsensitive) == 0) return &c;
    return nullptr;
}

QList<ListSource> listSources(Connection& c)
{
    QList<ListSource> out;
    const QList<QVariantList> rows =
        c.select(QStringLiteral("SELECT id, table_name, caption, columns FROM qnd_list_source WHERE del_status=0 ORDER BY sort_order, id"));
    for (const QVariantList& r : rows) {
        const TableDef* t = c.tableDef(r.value(1).toString().trimmed());
        if (!t) continue;
        ListSource s;
        s.id = r.value(0).toInt();
        s.table = t->name;
        s.caption = r.value(2).toString();
        if (t->hasColumn(t->primaryKey)) s.keyColumn = t->primaryKey;
        for (const QString& line : r.value(3).toString().split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const int eq = line.indexOf(QLatin1Char('='));
            const ColumnDef* col = t->column((eq < 0 ? line : line.left(eq)).trimmed());
            if (!col) continue;
            s.columns.append({col->name, eq < 0 ? col->name : line.mid(eq + 1).trimmed(), col->type});
        }
        if (!s.columns.isEmpty()) out << s;
    }
    return out;
}

const ListSource* findSource(const QList<ListSource>& sources, const QString& table)
{
    for (const ListSource& s : sources)
        if (s.table.compare(table, Qt::CaseInsensitive) == 0) return &s;
    return nullptr;
}

QList<ListOp> operatorsFor(ColType type)
{
    if (type == ColType::Bool) return {ListOp::Yes, ListOp::No};
    if (isText(type)) return {ListOp::Contains, ListOp::BeginsWith, ListOp::Equals, ListOp::NotEquals, ListOp::Empty, ListOp::NotEmpty};
    return {ListOp::Equals, ListOp::NotEquals, ListOp::From, ListOp::To, ListOp::Between, ListOp::Empty, ListOp::NotEmpty};
}

QString operatorName(ListOp op) { return QString::fromUtf8(info(op).name); }
QString operatorKey(ListOp op) { return QString::fromLatin1(info(op).key); }
int operatorValues(ListOp op) { return info(op).values; }

QDate dayOf(const QString& text, const QDate& today)
{
    const QString t = text.trimmed();
    // "ma" is how a Hungarian user writes it; "today" is how the stored lists write it.
    static const QRegularExpression relative(QStringLiteral("^(?:today|ma)\\s*(?:([+-])\\s*(\\d{1,5}))?$"),
                                             QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = relative.match(t);
    if (m.hasMatch()) {
        const int n = m.captured(2).toInt();
        return today.addDays(m.captured(1) == QLatin1String("-") ? -n : n);
    }
    for (QLatin1StringView f : {DateFormats::kStoredDay, DateFormats::kDay, DateFormats::kDayPlain, QLatin1StringView("yyyy. MM. dd.")}) {
        const QDate d = QDate::fromString(t, f);
        if (d.isValid()) return d;
    }
    return {};
}

bool buildQuery(Connection& c, const ListSource& source, const ListDefinition& def, const QDate& today, ListQuery* out,
                QString* error)
{
    const auto fail = [error](const QString& why) {
        if (error) *error = why;
        return false;
    };
    ListQuery q;
    const auto col = [&](const QString& field, const ListSourceColumn** found) {
        *found = source.column(field);
        return *found != nullptr;
    };
    for (const ListColumn& lc : def.columns) {
        const ListSourceColumn* sc;
        if (!col(lc.field, &sc)) return fail(kNoSuchColumn.arg(source.caption, lc.field));
        q.fields << sc->field;
        q.headings << (lc.caption.trimmed().isEmpty() ? sc->caption : lc.caption.trimmed());
        q.types << sc->type;
    }
    if (q.fields.isEmpty()) return fail(QStringLiteral("A listának nincs egyetlen oszlopa sem."));

    QStringList terms;
    for (const ListCondition& k : def.conditions) {
        const ListSourceColumn* sc;
        if (!col(k.field, &sc)) return fail(kNoSuchColumn.arg(source.caption, k.field));
        if (!operatorsFor(sc->type).contains(k.op))
            return fail(QStringLiteral("A(z) „%1” oszlopra a(z) „%2” feltétel nem alkalmazható.").arg(sc->caption, operatorName(k.op)));
        const QString name = quoted(sc->field);
        // The values, read as the column's type wants them.
        QVariantList values;
        for (int i = 0; i < operatorValues(k.op); ++i) {
            const QString text = i == 0 ? k.value : k.value2;
            if (isText(sc->type)) {
                values << text;
            } else if (isDate(sc->type)) {
                const QDate d = dayOf(text, today);
                if (!d.isValid())
                    return fail(QStringLiteral("A(z) „%1” feltétel értéke nem dátum: „%2”.").arg(sc->caption, text));
                values << d;
            } else {
                QVariant n;
                if (!numberOf(text, sc->type, &n))
                    return fail(QStringLiteral("A(z) „%1” feltétel értéke nem szám: „%2”.").arg(sc->caption, text));
                values << n;
            }
        }
        const bool date = isDate(sc->type);
        switch (k.op) {
        case ListOp::Contains:
        case ListOp::BeginsWith:
            terms << QStringLiteral("LOWER(%1) LIKE LOWER(?) ESCAPE '\\'").arg(name);
            q.binds << (k.op == ListOp::Contains ? QStringLiteral("%") : QString()) + likeEscaped(values[0].toString()) + QStringLiteral("%");
            break;
        case ListOp::Equals:
        case ListOp::NotEquals:
            if (date) { // the whole day
                terms << (k.op == ListOp::Equals ? QStringLiteral("(%1 >= ? AND %1 < ?)") : QStringLiteral("(%1 < ? OR %1 >= ? OR %1 IS NULL)")).arg(name);
                q.binds << values[0] << values[0].toDate().addDays(1);
            } else {
                terms << (k.op == ListOp::Equals ? QStringLiteral("%1 = ?") : QStringLiteral("(%1 <> ? OR %1 IS NULL)")).arg(name);
                q.binds << values[0];
            }
            break;
        case ListOp::From:
            terms << QStringLiteral("%1 >= ?").arg(name);
            q.binds << values[0];
            break;
        case ListOp::To:
            terms << (date ? QStringLiteral("%1 < ?") : QStringLiteral("%1 <= ?")).arg(name);
            q.binds << (date ? QVariant(values[0].toDate().addDays(1)) : values[0]);
            break;
        case ListOp::Between:
            terms << (date ? QStringLiteral("(%1 >= ? AND %1 < ?)") : QStringLiteral("(%1 >= ? AND %1 <= ?)")).arg(name);
            q.binds << values[0] << (date ? QVariant(values[1].toDate().addDays(1)) : values[1]);
            break;
        case ListOp::Yes:
            terms << QStringLiteral("%1 = ?").arg(name);
            q.binds << true;
            break;
        case ListOp::No:
            terms << QStringLiteral("(%1 = ? OR %1 IS NULL)").arg(name);
            q.binds << false;
            break;
        case ListOp::Empty:
            terms << (isText(sc->type) ? QStringLiteral("(%1 IS NULL OR %1 = '')") : QStringLiteral("%1 IS NULL")).arg(name);
            break;
        case ListOp::NotEmpty:
            terms << (isText(sc->type) ? QStringLiteral("(%1 IS NOT NULL AND %1 <> '')") : QStringLiteral("%1 IS NOT NULL")).arg(name);
            break;
        }
    }
    const QString where =
        terms.isEmpty() ? QString() : QStringLiteral(" WHERE ") + terms.join(def.matchAny ? QStringLiteral(" OR ") : QStringLiteral(" AND "));

    // Grouped rows come together: the group's column leads the order.
    QList<ListSortKey> order = def.sort;
    const ListSourceColumn* group = nullptr;
    if (!def.groupField.isEmpty()) {
        if (!col(def.groupField, &group))
            return fail(kNoSuchColumn.arg(source.caption, def.groupField));
        if (order.isEmpty() || order.first().field.compare(group->field, Qt::CaseInsensitive) != 0)
            order.prepend({group->field, false});
    }
    QList<SortTerm> terms2;
    bool descending = false;
    for (const ListSortKey& s : order) {
        const ListSourceColumn* sc;
        if (!col(s.field, &sc)) return fail(kNoSuchColumn.arg(source.caption, s.field));
        terms2.append({sc->field, s.descending, sortExpression(c.engine(), c.tableDef(source.table), sc->field)});
        descending = s.descending;
    }
    QStringList names;
    for (const QString& f : q.fields) names << quoted(f);
    // A group column that is not shown still comes last, for the breaks on paper.
    if (group && !q.fields.contains(group->field, Qt::CaseInsensitive)) names << quoted(group->field);
    q.rows.columns = names;
    q.rows.from = quoted(source.table);
    q.rows.where = terms.join(def.matchAny ? QStringLiteral(" OR ") : QStringLiteral(" AND "));
    q.rows.binds = q.binds;
    // The key breaks ties, so pages follow one another without gaps or repeats.
    q.rows.order = PageOrder(c.engine(), terms2, source.keyColumn, descending);
    q.select = q.rows.select();

    if (group) {
        QStringList sums;
        for (const QString& f : def.sums) {
            const ListSourceColumn* sc;
            if (!col(f, &sc) || !isNumber(sc->type))
                return fail(QStringLiteral("A(z) „%1” oszlop nem összegezhető.").arg(sc ? sc->caption : f));
            sums << QStringLiteral(", SUM(%1)").arg(quoted(sc->field));
        }
        const QString g = quoted(group->field);
        q.groups = QStringLiteral("SELECT %1, COUNT(*)%2 FROM %3%4 GROUP BY %1 ORDER BY %5")
                       .arg(g, sums.join(QString()), quoted(source.table), where,
                            c.engine().orderTerm(sortExpression(c.engine(), c.tableDef(source.table), group->field), false));
    }
    *out = q;
    return true;
}

ListScope listsOfUser(const Holder& holder)
{
    ListScope scope;
    QString terms = holdsAnySql(QStringLiteral("l"), holder.roles);
    if (holder.canOwn()) {
        terms += QStringLiteral(" OR l.owner_user_id = ?");
        scope.binds << holder.userId;
    }
    scope.where = QStringLiteral("l.del_status = 0 AND (%1)").arg(terms);
    return scope;
}

QString shownValue(const QVariant& v, ColType type)
{
    if (v.isNull() || !v.isValid()) return {};
    switch (type) {
    case ColType::Bool: {
        // SQLite hands back the stored -1 / 0, the server a bool.
        const bool on = v.typeId() == QMetaType::QString ? (v.toString() != QLatin1String("0") && !v.toString().isEmpty()) : v.toBool();
        return on ? QStringLiteral("✓") : QString();
    }
    case ColType::Date:
    case ColType::DateTime: {
        QDateTime d = v.toDateTime();
        if (!d.isValid()) d = QDateTime::fromString(v.toString(), DateFormats::kStored);
        if (!d.isValid()) return v.toString();
        return d.toString(d.time() == QTime(0, 0) ? DateFormats::kDay : DateFormats::kMinute);
    }
    case ColType::Double: return QLocale(QLocale::Hungarian).toString(v.toDouble(), 'f', 2);
    case ColType::Long: return QString::number(v.toLongLong());
    default: return v.toString();
    }
}

} // namespace NexoFrame::Controls
