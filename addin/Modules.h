#pragma once
#include "ClassRegistry.h"
#include <QSet>
#include <QString>
#include <exception>
#include <functional>
#include <map>
#include <memory>

class QObject;
class QPluginLoader;

namespace NexoFrame {

class IModule;

// The libraries behind the class registry: registration and creation by ProgID, for the
// shell (its panels) and for the panels themselves (report classes, say).
// Libraries stay loaded until the process exits, as objects they made may still be alive.
class Modules {
public:
    // The registry is the user's file (registrations are written there) over the system files.
    explicit Modules(const QString& registryPath = ClassRegistry::defaultPath(),
                     const QStringList& systemRegistries = ClassRegistry::systemPaths());
    ~Modules();

    // How a failure thrown from a library's registration is put into words.
    void setDescriber(std::function<QString(std::exception_ptr)> describe) { m_describe = std::move(describe); }

    // The module library shipped with the shell: beside it, or where the install put it.
    static QString defaultLibrary();
    QString registryPath() const { return m_registry.path(); }

    // Whether the registry maps this ProgID to a library.
    bool knows(const QString& progId) const;

    // Registers a library's ProgIDs. Returns false with a Hungarian message.
    bool registerLibrary(const QString& library, QString* error, QStringList* progIds = nullptr);
    // Removes a library's ProgIDs.
    bool unregisterLibrary(const QString& library, QString* error, QStringList* progIds = nullptr);
    // First run: registers `library` in the user's file when the registry lacks `probe` (a
    // ProgID the library hands out), when only a system file names it with another library,
    // or again when the user's file names it and the library has changed since. A system
    // file naming this very library is enough. Returns false with a message only when the
    // library is there and still fails.
    bool ensureRegistered(const QString& library, QString* error,
                          const QString& probe = QStringLiteral("NexoFrame.AuthUnits"));

    // Creates the object of a registered ProgID. nullptr with a Hungarian message when the
    // ProgID is unknown, its library fails to load or the factory hands out nothing; whatever
    // the factory throws is passed on.
    QObject* create(const QString& progId, QString* error);

    // The loaded module of a library, or nullptr with a Hungarian message.
    IModule* module(const QString& library, QString* error);

private:
    void reload();

    ClassRegistry m_registry;
    QSet<QString> m_known;
    std::map<QString, std::unique_ptr<QPluginLoader>> m_loaders;
    std::function<QString(std::exception_ptr)> m_describe;
};

} // namespace NexoFrame
