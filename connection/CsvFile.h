#pragma once
#include <QSaveFile>
#include <QStringList>

namespace NexoFrame {

// A CSV file as a Hungarian spreadsheet opens it without asking: UTF-8 with a byte-order
// mark, ";" between fields, CRLF lines, quotes where a field needs them. Written under a
// temporary name: a failed or cancelled export leaves no half file.
class CsvFile {
public:
    explicit CsvFile(const QString& path);
    // False with a Hungarian message.
    bool open(QString* error);
    void row(const QStringList& cells);
    bool commit(QString* error);
    void cancel() { m_file.cancelWriting(); }

    static QString field(QString value);

private:
    bool failed(QString* error);
    QSaveFile m_file;
    QByteArray m_line;
};

} // namespace NexoFrame
