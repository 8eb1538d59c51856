#include "ReportFile.h"
#include "DateFormats.h"
#include "InstallLayout.h"
#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <algorithm>
#include <array>

namespace NexoFrame::Controls {

namespace {

QString jsonProblem(QJsonParseError::ParseError e)
{
    switch (e) {
    case QJsonParseError::UnterminatedObject: return QStringLiteral("lezáratlan objektum");
    case QJsonParseError::MissingNameSeparator: return QStringLiteral("hiányzó kettőspont");
    case QJsonParseError::UnterminatedArray: return QStringLiteral("lezáratlan tömb");
    case QJsonParseError::MissingValueSeparator: return QStringLiteral("hiányzó vessző");
    case QJsonParseError::IllegalValue: return QStringLiteral("érvénytelen érték");
    case QJsonParseError::TerminationByNumber:
    case QJsonParseError::IllegalNumber: return QStringLiteral("érvénytelen szám");
    case QJsonParseError::IllegalEscapeSequence: return QStringLiteral("érvénytelen \\-jelsorozat");
    case QJsonParseError::IllegalUTF8String: return QStringLiteral("érvénytelen UTF-8 szöveg");
    case QJsonParseError::UnterminatedString: return QStringLiteral("lezáratlan szöveg");
    case QJsonParseError::MissingObject: return QStringLiteral("hiányzik a fő objektum");
    case QJsonParseError::GarbageAtEnd: return QStringLiteral("fölösleges szöveg a végén");
    default: return QStringLiteral("szintaktikai hiba");
    }
}

// Reads one object of the file; the first problem found is kept with where it is.
class Reader {
public:
    explicit Reader(QString name) : m_name(std::move(name)) {}

    bool failed() const { return !m_error.isEmpty(); }
    QString error() const
    {
        return QStringLiteral("A(z) „%1” riportfájl hibás: %2").arg(m_name, m_error);
    }
    void fail(const QString& where, const QString& what)
    {
        if (m_error.isEmpty()) m_error = where.isEmpty() ? what : where + QStringLiteral(": ") + what;
    }

    QString text(const QJsonObject& o, const char* key, const QString& where, bool required = false,
                 const QString& fallback = {})
    {
        const QJsonValue v = o.value(QLatin1String(key));
        if (v.isUndefined() || v.isNull()) {
            if (required) fail(where, QStringLiteral("hiányzik a(z) „%1” kulcs").arg(QLatin1String(key)));
            return fallback;
        }
        if (v.isArray()) {
            // Long texts (a query) may be written line by line.
            QStringList lines;
            for (const QJsonValue& line : v.toArray()) {
                if (!line.isString()) fail(where, QStringLiteral("a(z) „%1” sorai csak szövegek lehetnek").arg(QLatin1String(key)));
                lines << line.toString();
            }
            return lines.join(QLatin1Char('\n'));
        }
        if (v.isDouble()) return QString::number(v.toDouble());
        if (!v.isString()) fail(where, QStringLiteral("a(z) „%1” értéke szöveg legyen").arg(QLatin1String(key)));
        return v.toString();
    }

    double number(const QJsonObject& o, const char* key, const QString& where, double fallback)
    {
        const QJsonValue v = o.value(QLatin1String(key));
        if (v.isUndefined()) return fallback;
        if (!v.isDouble()) fail(where, QStringLiteral("a(z) „%1” értéke szám legyen").arg(QLatin1String(key)));
        return v.toDouble(fallback);
    }

    bool flag(const QJsonObject& o, const char* key, const QString& where, bool fallback)
    {
        const QJsonValue v = o.value(QLatin1String(key));
        if (v.isUndefined()) return fallback;
        if (!v.isBool()) fail(where, QStringLiteral("a(z) „%1” értéke true vagy false legyen").arg(QLatin1String(key)));
        return v.toBool(fallback);
    }

    QList<QJsonObject> objects(const QJsonObject& o, const char* key)
    {
        QList<QJsonObject> l;
        const QJsonValue v = o.value(QLatin1String(key));
        if (v.isUndefined()) return l;
        if (!v.isArray()) {
            fail(QString(), QStringLiteral("a(z) „%1” értéke tömb legyen").arg(QLatin1String(key)));
            return l;
        }
        for (const QJsonValue& item : v.toArray()) {
            if (!item.isObject()) fail(QString(), QStringLiteral("a(z) „%1” elemei objektumok legyenek").arg(QLatin1String(key)));
            l << item.toObject();
        }
        return l;
    }

    // One of the names listed, by position; the first when absent.
    int choice(const QJsonObject& o, const char* key, const QString& where, const QStringList& names)
    {
        const QString v = text(o, key, where);
        if (v.isEmpty()) return 0;
        const int i = int(names.indexOf(v.toLower()));
        if (i < 0)
            fail(where, QStringLiteral("a(z) „%1” értéke „%2” nem lehet (lehet: %3)")
                            .arg(QLatin1String(key), v, names.join(QStringLiteral(", "))));
        return std::max(i, 0);
    }

private:
    QString m_name;
    QString m_error;
};

const QRegularExpression& identifier()
{
    static const QRegularExpression re(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
    return re;
}

QString shownName(const ReportParameter& p)
{
    return p.caption.isEmpty() ? p.name : p.caption;
}

} // namespace

QString ReportFile::resolve(const QString& fileName)
{
    if (QFileInfo(fileName).isAbsolute()) return fileName;
    QString folder = qEnvironmentVariable("NEXO_REPORTS");
    if (folder.isEmpty()) folder = InstallLayout::dataPath(QStringLiteral("reports"));
    return QDir(folder).filePath(fileName);
}

bool ReportFile::load(const QString& path, ReportFile* out, QString* error)
{
    QFile f(path);
    if (!QFileInfo(path).isFile()) {
        *error = QStringLiteral("A riportfájl nem található: %1").arg(QDir::toNativeSeparators(path));
        return false;
    }
    if (!f.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("A riportfájl nem olvasható: %1 (%2)").arg(QDir::toNativeSeparators(path), f.errorString());
        return false;
    }
    return parse(f.readAll(), QFileInfo(path).fileName(), out, error);
}

bool ReportFile::parse(const QByteArray& json, const QString& name, ReportFile* out, QString* error)
{
    QJsonParseError pe;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &pe);
    if (pe.error != QJsonParseError::NoError) {
        const int line = int(json.left(pe.offset).count('\n')) + 1;
        *error = QStringLiteral("A(z) „%1” riportfájl nem olvasható JSON: %2 a(z) %3. sorban.").arg(name, jsonProblem(pe.error)).arg(line);
        return false;
    }
    if (!doc.isObject()) {
        *error = QStringLiteral("A(z) „%1” riportfájl hibás: egyetlen JSON-objektum legyen.").arg(name);
        return false;
    }
    const QJsonObject o = doc.object();
    Reader r(name);
    ReportFile f;
    f.title = r.text(o, "title", QString());
    f.subtitle = r.text(o, "subtitle", QString());
    f.orientation = r.choice(o, "orientation", QString(), {QStringLiteral("portrait"), QStringLiteral("landscape")}) == 1
        ? QPageLayout::Landscape
        : QPageLayout::Portrait;
    f.query = r.text(o, "query", QString(), true).trimmed();
    if (!r.failed() && f.query.isEmpty()) r.fail(QString(), QStringLiteral("üres a lekérdezés"));
    f.empty = r.text(o, "empty", QString(), false, f.empty);
    f.hasTotal = o.contains(QLatin1String("total"));
    f.total = r.text(o, "total", QString());

    const QStringList types{QStringLiteral("text"), QStringLiteral("int"), QStringLiteral("date"), QStringLiteral("choice")};
    for (const QJsonObject& po : r.objects(o, "parameters")) {
        ReportParameter p;
        p.name = r.text(po, "name", QStringLiteral("paraméter"), true);
        const QString where = QStringLiteral("a(z) „%1” paraméter").arg(p.name);
        if (!r.failed() && !identifier().match(p.name).hasMatch())
            r.fail(where, QStringLiteral("a neve csak betű, számjegy és aláhúzás lehet"));
        if (f.parameter(p.name)) r.fail(where, QStringLiteral("kétszer szerepel"));
        p.caption = r.text(po, "caption", where);
        const int type = r.choice(po, "type", where, types);
        p.type = type == 1 ? ParameterType::Int : type == 2 ? ParameterType::Date : type == 3 ? ParameterType::Choice : ParameterType::Text;
        p.defaultValue = r.text(po, "default", where);
        p.stringPar = int(r.number(po, "stringPar", where, 0));
        if (p.stringPar < 0 || p.stringPar > 5) r.fail(where, QStringLiteral("a „stringPar” 1 és 5 között lehet"));
        p.ask = r.flag(po, "ask", where, true);
        p.min = int(r.number(po, "min", where, p.min));
        p.max = int(r.number(po, "max", where, p.max));
        p.choices = r.text(po, "choices", where, p.type == ParameterType::Choice).trimmed();
        f.parameters << p;
    }

    const QStringList formats{QStringLiteral("text"), QStringLiteral("int"), QStringLiteral("number"), QStringLiteral("date"),
                              QStringLiteral("datetime"), QStringLiteral("mark"), QStringLiteral("days")};
    const QStringList aligns{QStringLiteral("left"), QStringLiteral("center"), QStringLiteral("right")};
    for (const QJsonObject& co : r.objects(o, "columns")) {
        ReportColumn c;
        c.field = r.text(co, "field", QStringLiteral("oszlop"), true);
        const QString where = QStringLiteral("a(z) „%1” oszlop").arg(c.field);
        c.caption = r.text(co, "caption", where);
        c.width = r.number(co, "width", where, 1);
        if (c.width <= 0) r.fail(where, QStringLiteral("a szélessége pozitív szám legyen"));
        c.format = ColumnFormat(r.choice(co, "format", where, formats));
        const bool numeric = c.format == ColumnFormat::Int || c.format == ColumnFormat::Number || c.format == ColumnFormat::Days;
        const Qt::Alignment byFormat = numeric ? Qt::AlignRight : c.format == ColumnFormat::Mark ? Qt::AlignHCenter : Qt::AlignLeft;
        c.align = co.contains(QLatin1String("align"))
            ? std::array{Qt::AlignLeft, Qt::AlignHCenter, Qt::AlignRight}[size_t(r.choice(co, "align", where, aligns))]
            : byFormat;
        c.decimals = std::clamp(int(r.number(co, "decimals", where, 2)), 0, 10);
        c.mark = r.text(co, "mark", where, false, c.mark);
        c.sum = r.flag(co, "sum", where, false);
        if (c.sum && !numeric && c.format != ColumnFormat::Mark)
            r.fail(where, QStringLiteral("csak szám- és jelölőoszlop összegezhető"));
        f.columns << c;
    }
    if (!r.failed() && f.columns.isEmpty()) r.fail(QString(), QStringLiteral("nincs egyetlen oszlopa sem"));

    for (const QJsonObject& go : r.objects(o, "groups")) {
        ReportGroup g;
        g.field = r.text(go, "field", QStringLiteral("csoport"), true);
        const QString where = QStringLiteral("a(z) „%1” csoport").arg(g.field);
        g.heading = r.text(go, "heading", where, false, QLatin1Char('{') + g.field + QLatin1Char('}'));
        g.footer = r.text(go, "footer", where, false, QStringLiteral("Összesen: {count}"));
        f.groups << g;
    }

    if (o.contains(QLatin1String("tree"))) {
        if (!o.value(QLatin1String("tree")).isObject()) {
            r.fail(QString(), QStringLiteral("a „tree” értéke objektum legyen"));
        } else {
            const QJsonObject to = o.value(QLatin1String("tree")).toObject();
            const QString where = QStringLiteral("a fa");
            f.tree.id = r.text(to, "id", where, true);
            f.tree.parent = r.text(to, "parent", where, true);
            f.tree.column = r.text(to, "column", where, true);
            const bool shown = std::any_of(f.columns.cbegin(), f.columns.cend(),
                                           [&](const ReportColumn& c) { return c.field.compare(f.tree.column, Qt::CaseInsensitive) == 0; });
            if (!r.failed() && !shown) r.fail(where, QStringLiteral("a(z) „%1” nem oszlopa a riportnak").arg(f.tree.column));
        }
    }

    if (r.failed()) {
        *error = r.error();
        return false;
    }
    *out = f;
    return true;
}

const ReportParameter* ReportFile::parameter(const QString& name) const
{
    for (const ReportParameter& p : parameters)
        if (p.name.compare(name, Qt::CaseInsensitive) == 0) return &p;
    return nullptr;
}

bool parameterValue(const ReportParameter& p, const QString& text, const QDate& today, const QVariantMap& known,
                    QVariant* value, QString* error)
{
    const QString t = text.trimmed();
    switch (p.type) {
    case ParameterType::Text:
    case ParameterType::Choice: *value = t; return true;
    case ParameterType::Int: {
        bool ok = false;
        const int n = t.toInt(&ok);
        if (!ok) {
            *error = QStringLiteral("A(z) „%1” paraméter értéke nem egész szám: „%2”.").arg(shownName(p), t);
            return false;
        }
        if (n < p.min || n > p.max) {
            *error = QStringLiteral("A(z) „%1” paraméter értéke %2 és %3 között lehet, nem %4.")
                         .arg(shownName(p)).arg(p.min).arg(p.max).arg(n);
            return false;
        }
        *value = n;
        return true;
    }
    case ParameterType::Date: {
        // A day, then days added or taken: "today-30", "today+{days}", "2024-05-31".
        static const QRegularExpression re(
            QStringLiteral("^(today|ma|\\d{4}-\\d{2}-\\d{2}|\\d{4}\\.\\d{2}\\.\\d{2}\\.?)((?:\\s*[+-]\\s*(?:\\d+|\\{[A-Za-z_][A-Za-z0-9_]*\\}))*)$"),
            QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch m = re.match(t);
        QDate day;
        if (m.hasMatch()) {
            const QString start = m.captured(1).toLower();
            if (start == QLatin1String("today") || start == QLatin1String("ma")) day = today;
            else if (start.contains(QLatin1Char('-'))) day = QDate::fromString(start, DateFormats::kStoredDay);
            else day = QDate::fromString(start.left(10), DateFormats::kDayPlain);
        }
        if (!day.isValid()) {
            *error = QStringLiteral("A(z) „%1” paraméter értéke nem dátum: „%2” (például 2024-05-31, today vagy today-30).")
                         .arg(shownName(p), t);
            return false;
        }
        static const QRegularExpression term(QStringLiteral("([+-])\\s*(\\d+|\\{([A-Za-z0-9_]+)\\})"));
        for (auto it = term.globalMatch(m.captured(2)); it.hasNext();) {
            const QRegularExpressionMatch tm = it.next();
            qint64 days = tm.captured(2).toLongLong();
            if (!tm.captured(3).isEmpty()) {
                const QString name = tm.captured(3);
                bool ok = false;
                for (auto k = known.cbegin(); k != known.cend(); ++k)
                    if (k.key().compare(name, Qt::CaseInsensitive) == 0 && k->typeId() == QMetaType::Int) days = k->toLongLong(&ok);
                if (!ok) {
                    *error = QStringLiteral("A(z) „%1” paraméter a(z) „%2” egész értékű paraméterre hivatkozik, de ilyen nincs előtte.")
                                 .arg(shownName(p), name);
                    return false;
                }
            }
            day = day.addDays(tm.captured(1) == QLatin1String("-") ? -days : days);
        }
        *value = day;
        return true;
    }
    }
    return false;
}

} // namespace NexoFrame::Controls
