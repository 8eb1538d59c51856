#pragma once
#include <QString>
#include <stdexcept>

namespace NexoFrame {

// A failed database operation; the message is for the user.
class DbError : public std::runtime_error {
public:
    explicit DbError(const QString& message)
        : std::runtime_error(message.toStdString()), m_message(message) {}
    QString message() const { return m_message; }

private:
    QString m_message;
};

} // namespace NexoFrame
