#include "CsvFile.h"
#include <QDir>

namespace NexoFrame {

CsvFile::CsvFile(const QString& path) : m_file(path) {}

bool CsvFile::failed(QString* error)
{
    if (error) *error = QStringLiteral("A fájl nem írható: %1 (%2)").arg(QDir::toNativeSeparators(m_file.fileName()), m_file.errorString());
    return false;
}

bool CsvFile::open(QString* error)
{
    if (!m_file.open(QIODevice::WriteOnly)) return failed(error);
    m_file.write("\xEF\xBB\xBF");
    return true;
}

QString CsvFile::field(QString v)
{
    if (v.contains(QLatin1Char(';')) || v.contains(QLatin1Char('"')) || v.contains(QLatin1Char('\n')) || v.contains(QLatin1Char('\r')))
        v = QLatin1Char('"') + v.replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
    return v;
}

void CsvFile::row(const QStringList& cells)
{
    m_line.clear();
    for (int i = 0; i < cells.size(); ++i) {
        if (i) m_line += ';';
        m_line += field(cells[i]).toUtf8();
    }
    m_line += "\r\n";
    m_file.write(m_line);
}

bool CsvFile::commit(QString* error) { return m_file.commit() || failed(error); }

} // namespace NexoFrame
