#include "ShellModules.h"
#include "IModule.h"
#include <QCoreApplication>
#include <QFileInfo>
#include <QPluginLoader>

namespace NexoFrame::Shell {

namespace {
const QString kFirstPanel = QStringLiteral("NexoFrame.AuthUnits");

QString absolute(const QString& path) { return QFileInfo(path).absoluteFilePath(); }
} // namespace

Modules::Modules(const QString& registryPath) : m_registry(registryPath) { reload(); }

Modules::~Modules() = default;

QString Modules::defaultLibrary()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/libNexoFrame.so");
}

void Modules::reload()
{
    const QStringList ids = m_registry.progIds();
    m_known = QSet<QString>(ids.begin(), ids.end());
}

bool Modules::knows(const QString& progId) const { return m_known.contains(progId); }

IModule* Modules::module(const QString& library, QString* error)
{
    const QString path = absolute(library);
    auto it = m_loaders.find(path);
    if (it == m_loaders.end()) {
        if (!QFileInfo::exists(path)) {
            *error = QStringLiteral("A modul könyvtára nem található: %1").arg(path);
            return nullptr;
        }
        it = m_loaders.emplace(path, std::make_unique<QPluginLoader>(path)).first;
    }
    QPluginLoader& loader = *it->second;
    QObject* root = loader.instance();
    if (!root) {
        *error = QStringLiteral("A modul nem tölthető be: %1\n%2").arg(path, loader.errorString());
        return nullptr;
    }
    IModule* m = qobject_cast<IModule*>(root);
    if (!m) *error = QStringLiteral("A könyvtár nem NexoFrame-modul: %1").arg(path);
    return m;
}

bool Modules::registerLibrary(const QString& library, QString* error, QStringList* progIds)
{
    IModule* m = module(library, error);
    if (!m) return false;
    if (!m->registerServer(m_registry.path(), absolute(library))) {
        *error = QStringLiteral("A modul nem tudta beírni magát a regisztrációs fájlba: %1").arg(m_registry.path());
        reload();
        return false;
    }
    reload();
    if (progIds) *progIds = m->progIds();
    return true;
}

bool Modules::unregisterLibrary(const QString& library, QString* error, QStringList* progIds)
{
    const QString path = absolute(library);
    QString loadError;
    if (IModule* m = module(library, &loadError)) {
        const QStringList ids = m->progIds();
        const bool ok = m->unregisterServer(m_registry.path());
        reload();
        if (!ok) {
            *error = QStringLiteral("A modul nem tudta törölni magát a regisztrációs fájlból: %1").arg(m_registry.path());
            return false;
        }
        if (progIds) *progIds = ids;
        return true;
    }
    // A removed or broken library still leaves its entries behind: clear them by path.
    QStringList removed;
    for (const QString& id : m_registry.progIds()) {
        if (absolute(m_registry.entry(id).library) == path) {
            m_registry.remove(id);
            removed << id;
        }
    }
    reload();
    if (removed.isEmpty()) {
        *error = loadError;
        return false;
    }
    if (!m_registry.sync()) {
        *error = QStringLiteral("A regisztrációs fájl nem írható: %1").arg(m_registry.path());
        return false;
    }
    if (progIds) *progIds = removed;
    return true;
}

bool Modules::ensureRegistered(const QString& library, QString* error)
{
    if (knows(kFirstPanel) || !QFileInfo::exists(library)) return true;
    return registerLibrary(library, error);
}

QObject* Modules::create(const QString& progId, QString* error)
{
    if (!m_registry.contains(progId)) {
        *error = QStringLiteral("Ez a funkció nincs telepítve: a(z) %1 osztály nincs regisztrálva.").arg(progId);
        return nullptr;
    }
    const ClassRegistry::Entry entry = m_registry.entry(progId);
    IModule* m = module(entry.library, error);
    if (!m) return nullptr;
    QObject* object = m->createObject(progId);
    if (!object) *error = QStringLiteral("A modul nem hozta létre a(z) %1 objektumot.").arg(progId);
    return object;
}

} // namespace NexoFrame::Shell
