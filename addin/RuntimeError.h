#pragma once
#include <QString>
#include <stdexcept>

namespace NexoFrame {

// An unexpected fault of a procedure: what the error traps catch and report. Part of the host
// contract: the shell reports what a panel lets escape.
class RuntimeError : public std::runtime_error {
public:
    explicit RuntimeError(const QString& description, long number = 0, const QString& source = {})
        : std::runtime_error(description.toStdString()), m_description(description),
          m_number(number), m_source(source) {}

    QString description() const { return m_description; }
    long number() const { return m_number; }
    QString source() const { return m_source; }
    void setSource(const QString& s) { m_source = s; }

private:
    QString m_description;
    long m_number;
    QString m_source;
};

// The run-time type-mismatch error the host contract passes to its caller.
inline constexpr long kTypeMismatch = 13;

} // namespace NexoFrame
