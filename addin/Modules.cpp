#include "Modules.h"
#include "IModule.h"
#include "InstallLayout.h"
#include <QFileInfo>
#include <QPluginLoader>

namespace NexoFrame {

namespace {

QString absolute(const QString& path) { return QFileInfo(path).absoluteFilePath(); }

// Through links too: /lib is /usr/lib on a merged system.
bool sameFile(const QString& a, const QFileInfo& b)
{
    const QString ca = QFileInfo(a).canonicalFilePath();
    return ca.isEmpty() ? absolute(a) == b.absoluteFilePath() : ca == b.canonicalFilePath();
}

// Registration runs the module's own code; what it throws becomes the reason it failed.
template <class F>
bool guardedCall(const std::function<QString(std::exception_ptr)>& describe, QString* error, F&& call)
{
    try {
        call();
        return true;
    } catch (...) {
        *error = describe(std::current_exception());
        return false;
    }
}

QString plainDescription(std::exception_ptr e)
{
    try {
        std::rethrow_exception(e);
    } catch (const std::exception& x) {
        return QString::fromUtf8(x.what());
    } catch (...) {
        return QStringLiteral("Ismeretlen hiba történt.");
    }
}
} // namespace

Modules::Modules(const QString& registryPath, const QStringList& systemRegistries)
    : m_registry(registryPath, systemRegistries), m_describe(plainDescription)
{
    reload();
}

Modules::~Modules() = default;

QString Modules::defaultLibrary()
{
    return InstallLayout::libraryPath(QStringLiteral("libNexoFrame.so"));
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
    bool ok = false;
    if (!guardedCall(m_describe, error, [&] { ok = m->registerServer(m_registry.path(), absolute(library)); })) ok = false;
    else if (!ok) *error = QStringLiteral("A modul nem tudta beírni magát a regisztrációs fájlba: %1").arg(m_registry.path());
    reload();
    if (ok && progIds) *progIds = m->progIds();
    return ok;
}

bool Modules::unregisterLibrary(const QString& library, QString* error, QStringList* progIds)
{
    IModule* m = module(library, error);
    if (!m) return false;
    bool ok = false;
    if (!guardedCall(m_describe, error, [&] { ok = m->unregisterServer(m_registry.path()); })) ok = false;
    else if (!ok) *error = QStringLiteral("A modul nem tudta törölni magát a regisztrációs fájlból: %1").arg(m_registry.path());
    reload();
    if (ok && progIds) *progIds = m->progIds();
    return ok;
}

bool Modules::ensureRegistered(const QString& library, QString* error, const QString& probe)
{
    const QFileInfo lib(library);
    if (!lib.exists()) return true;
    switch (m_registry.source(probe)) {
    case ClassRegistry::Source::User:
        // A module rebuilt or updated in place may hand out new panels: it registers again
        // once, when it is newer than the registry. A module registered from elsewhere is left.
        if (!sameFile(m_registry.entry(probe).library, lib)) return true;
        if (lib.lastModified() <= QFileInfo(m_registry.path()).lastModified()) return true;
        break;
    case ClassRegistry::Source::System:
        // The install registered this library for everyone and keeps that entry with it. A
        // library of another place (a build tree on a machine where the program is installed)
        // goes into the user's file, which wins.
        if (sameFile(m_registry.entry(probe).library, lib)) return true;
        break;
    case ClassRegistry::Source::None:
        break;
    }
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

} // namespace NexoFrame
