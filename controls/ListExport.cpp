#include "ListExport.h"
#include "CsvFile.h"
#include "DateFormats.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <xlsxwriter.h>

namespace NexoFrame::Controls {

namespace {

// Excel's last row (headings on the first).
constexpr lxw_row_t kSheetRows = 1048576;
constexpr int kCellChars = 32767;

QDateTime asDateTime(const QVariant& v)
{
    if (v.typeId() == QMetaType::QDateTime) return v.toDateTime();
    if (v.typeId() == QMetaType::QDate) return v.toDate().startOfDay();
    QDateTime d = QDateTime::fromString(v.toString(), DateFormats::kStored);
    if (!d.isValid()) d = QDateTime::fromString(v.toString(), Qt::ISODate);
    return d;
}

} // namespace

bool exportListCsv(const QString& path, const ListQuery& q, const ListRowFeed& feed, QString* error)
{
    CsvFile file(path);
    if (!file.open(error)) return false;
    file.row(q.headings);
    WaitCursor wait;
    QStringList cells;
    const bool ok = feed(
        [&](const QVariantList& row) {
            cells.clear();
            for (int i = 0; i < q.types.size(); ++i) cells << shownValue(row.value(i), q.types[i]);
            file.row(cells);
            return true;
        },
        error);
    if (!ok) {
        file.cancel();
        return false;
    }
    return file.commit(error);
}

bool exportListXlsx(const QString& path, const QString& title, const ListQuery& q, const ListRowFeed& feed,
                    const QString& tempFolder, QString* error)
{
    const auto fail = [&](const QString& why) {
        if (error) *error = why;
        return false;
    };
    const QString temp = path + QStringLiteral(".part");
    const QByteArray tempName = QFile::encodeName(temp);
    const QByteArray tmpdir = QFile::encodeName(tempFolder);
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE; // rows go to disk as they come: a million rows stay small
    options.tmpdir = tempFolder.isEmpty() ? nullptr : const_cast<char*>(tmpdir.constData());
    lxw_workbook* book = workbook_new_opt(tempName.constData(), &options);
    if (!book) return fail(QStringLiteral("A fájl nem írható: %1").arg(QDir::toNativeSeparators(path)));
    lxw_format* bold = workbook_add_format(book);
    format_set_bold(bold);
    format_set_bottom(bold, LXW_BORDER_THIN);
    lxw_format* day = workbook_add_format(book);
    format_set_num_format(day, "yyyy.mm.dd.");
    lxw_format* moment = workbook_add_format(book);
    format_set_num_format(moment, "yyyy.mm.dd. hh:mm");
    lxw_format* money = workbook_add_format(book);
    format_set_num_format(money, "# ##0.00");
    const QByteArray properTitle = title.toUtf8();
    lxw_doc_properties props{};
    props.title = const_cast<char*>(properTitle.constData());
    props.author = const_cast<char*>("NexoFrame");
    workbook_set_properties(book, &props);

    lxw_worksheet* sheet = nullptr;
    lxw_row_t at = 0;
    int sheets = 0;
    const auto newSheet = [&] {
        const QByteArray name = QStringLiteral("Lista%1").arg(sheets ? QStringLiteral(" %1").arg(sheets + 1) : QString()).toUtf8();
        sheet = workbook_add_worksheet(book, name.constData());
        ++sheets;
        for (int c = 0; c < q.headings.size(); ++c) {
            worksheet_write_string(sheet, 0, lxw_col_t(c), q.headings[c].toUtf8().constData(), bold);
            const bool wide = q.types[c] == ColType::Text || q.types[c] == ColType::Memo;
            worksheet_set_column(sheet, lxw_col_t(c), lxw_col_t(c), wide ? 28 : 16, nullptr);
        }
        worksheet_freeze_panes(sheet, 1, 0);
        at = 1;
    };
    newSheet();
    WaitCursor wait;
    QByteArray text;
    const bool ok = feed(
        [&](const QVariantList& row) {
            if (at == kSheetRows) newSheet();
            for (int c = 0; c < q.types.size(); ++c) {
                const QVariant v = row.value(c);
                if (v.isNull() || !v.isValid()) continue;
                const lxw_col_t col = lxw_col_t(c);
                switch (q.types[c]) {
                case ColType::Long: worksheet_write_number(sheet, at, col, double(v.toLongLong()), nullptr); break;
                case ColType::Double: worksheet_write_number(sheet, at, col, v.toDouble(), money); break;
                case ColType::Date:
                case ColType::DateTime: {
                    const QDateTime d = asDateTime(v);
                    if (!d.isValid()) break;
                    lxw_datetime x{d.date().year(), d.date().month(), d.date().day(), d.time().hour(), d.time().minute(),
                                   double(d.time().second())};
                    worksheet_write_datetime(sheet, at, col, &x, d.time() == QTime(0, 0) ? day : moment);
                    break;
                }
                case ColType::Bool: {
                    const QString s = shownValue(v, ColType::Bool);
                    if (!s.isEmpty()) worksheet_write_string(sheet, at, col, s.toUtf8().constData(), nullptr);
                    break;
                }
                case ColType::Text:
                case ColType::Memo:
                    // A cell holds at most 32,767 characters; the rest is cut, as a column cuts it.
                    text = v.toString().left(kCellChars).toUtf8();
                    worksheet_write_string(sheet, at, col, text.constData(), nullptr);
                    break;
                }
            }
            ++at;
            return true;
        },
        error);
    const lxw_error closed = workbook_close(book);
    if (!ok) {
        QFile::remove(temp);
        return false;
    }
    if (closed != LXW_NO_ERROR) {
        QFile::remove(temp);
        return fail(QStringLiteral("A munkafüzet nem menthető: %1 (%2)").arg(QDir::toNativeSeparators(path), QString::fromUtf8(lxw_strerror(closed))));
    }
    QFile::remove(path);
    if (!QFile::rename(temp, path)) {
        QFile::remove(temp);
        return fail(QStringLiteral("A fájl nem írható: %1").arg(QDir::toNativeSeparators(path)));
    }
    return true;
}

ReportDocument listDocument(const QString& title, const ListDefinition& def, const ListQuery& q, const QList<QVariantList>& rows,
                            const ReportHeader& header)
{
    ReportDocument doc;
    doc.header = header;
    doc.header.title = title;
    ReportFile& f = doc.file;
    f.title = title;
    f.orientation = q.fields.size() > 5 ? QPageLayout::Landscape : QPageLayout::Portrait;
    for (int i = 0; i < q.fields.size(); ++i) {
        ReportColumn c;
        c.field = q.fields[i];
        c.caption = q.headings[i];
        switch (q.types[i]) {
        case ColType::Double:
            c.format = ColumnFormat::Number;
            c.align = Qt::AlignRight;
            break;
        case ColType::Long: c.align = Qt::AlignRight; break;
        case ColType::Bool:
            c.format = ColumnFormat::Mark;
            c.align = Qt::AlignCenter;
            break;
        case ColType::Text:
        case ColType::Memo: c.width = 1.6; break; // names and texts need the room
        default: break;
        }
        c.sum = def.sums.contains(c.field, Qt::CaseInsensitive);
        f.columns << c;
    }
    doc.rows.fields = q.fields;
    // Values as the grid shows them, so paper and screen agree; sums need the numbers.
    for (const QVariantList& r : rows) {
        QVariantList shown;
        for (int i = 0; i < q.types.size(); ++i)
            shown << (q.types[i] == ColType::Double || q.types[i] == ColType::Bool ? r.value(i) : QVariant(shownValue(r.value(i), q.types[i])));
        doc.rows.rows << shown;
        doc.rows.depth << 0;
    }
    if (!def.groupField.isEmpty()) {
        int g = -1;
        for (int i = 0; i < q.fields.size(); ++i)
            if (q.fields[i].compare(def.groupField, Qt::CaseInsensitive) == 0) g = i;
        // A group column that is not shown is carried along for the breaks.
        if (g < 0) {
            doc.rows.fields << def.groupField;
            for (int r = 0; r < doc.rows.rows.size() && r < rows.size(); ++r) doc.rows.rows[r] << rows[r].value(q.fields.size());
        }
        const QString name = QLatin1Char('{') + def.groupField + QLatin1Char('}');
        f.groups << ReportGroup{def.groupField, name, name + QStringLiteral(": {count} sor")};
    }
    f.hasTotal = true;
    f.total = QStringLiteral("Összesen: {count} sor");
    f.empty = QStringLiteral("A listában nincs egyetlen sor sem.");
    return doc;
}

} // namespace NexoFrame::Controls
