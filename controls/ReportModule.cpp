#include "ReportModule.h"
#include "ClassRegistry.h"
#include "QndReport.h"

namespace NexoFrame::Controls {

namespace {
const QString kProgId = QStringLiteral("QndReport.Report");
const QString kClassName = QStringLiteral("QndReport");
} // namespace

QStringList ReportModule::progIds() const { return {kProgId}; }

QObject* ReportModule::createObject(const QString& progId, QObject* parent)
{
    if (progId.compare(kProgId, Qt::CaseInsensitive) != 0) return nullptr;
    return new QndReport(parent);
}

bool ReportModule::registerServer(const QString& registryFile, const QString& libraryPath)
{
    ClassRegistry reg(registryFile);
    reg.add(kProgId, {libraryPath, kClassName});
    return reg.sync();
}

bool ReportModule::unregisterServer(const QString& registryFile)
{
    ClassRegistry reg(registryFile);
    reg.remove(kProgId);
    return reg.sync();
}

bool ReportModule::canUnloadNow() const { return QndReport::liveObjects() == 0; }

} // namespace NexoFrame::Controls
