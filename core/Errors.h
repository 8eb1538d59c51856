#pragma once
#include "Enums.h"
#include <QList>
#include <QString>

namespace NexoFrame {

// One validation fault of a record.
class Error {
public:
    Error() = default;
    Error(eErrorType type, long number, QString description)
        : m_type(type), m_number(number), m_description(std::move(description)) {}

    eErrorType ErrorType() const { return m_type; }
    void setErrorType(eErrorType t) { m_type = t; }
    long Number() const { return m_number; }
    void setNumber(long n) { m_number = n; }
    QString description() const { return m_description; }
    void setDescription(const QString& d) { m_description = d; }

private:
    eErrorType m_type = eError;
    long m_number = 0;
    QString m_description;
};

// The module-wide fault collection: records add to it, the error list empties it.
class Errors {
public:
    // 1-based, as callers count entries.
    const Error& Item(int index) const { return m_items.at(index - 1); }
    int Count() const { return int(m_items.size()); }
    void Clear() { m_items.clear(); }
    QString DescriptionLanguage() const { return m_language; }
    void setDescriptionLanguage(const QString& l) { m_language = l; }

    void add(eErrorType type, long number, const QString& description) {
        m_items.append(Error(type, number, description));
    }
    bool hasErrors() const {
        for (const Error& e : m_items)
            if (e.ErrorType() == eError) return true;
        return false;
    }

    auto begin() const { return m_items.cbegin(); }
    auto end() const { return m_items.cend(); }

private:
    QList<Error> m_items;
    QString m_language;
};

} // namespace NexoFrame
