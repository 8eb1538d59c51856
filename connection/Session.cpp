#include "Session.h"
#include "Access.h"
#include "Connection.h"

namespace NexoFrame {

Keys& Session::keys() const { return m_c->keys(); }
Settings& Session::settings() const { return m_c->settings(); }
HistoryLog& Session::history() const { return m_c->history(); }
Transactions& Session::transactions() const { return m_c->transactions(); }

bool Session::may(const QString& key) const { return rightsTest(*m_c, m_userId, key); }

} // namespace NexoFrame
