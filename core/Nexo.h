#pragma once
#include <QObject>

namespace NexoFrame {

class Connection;

// The public class through which a host hands the module its database connection.
class Nexo : public QObject {
    Q_OBJECT
    Q_PROPERTY(NexoFrame::Connection* NexoConnection READ nexoConnection WRITE setNexoConnection)
    Q_MOC_INCLUDE("Connection.h")
public:
    explicit Nexo(QObject* parent = nullptr);
    ~Nexo() override;

    // A connection already set is kept; the current user is read again in every case.
    void setNexoConnection(Connection* connection);
    Connection* nexoConnection() const;
};

} // namespace NexoFrame
