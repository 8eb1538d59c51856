#pragma once
#include "IModule.h"
#include <QObject>

namespace NexoFrame::Controls {

// The report engine as a library the host loads: it hands out the report class under the
// ProgID "QndReport.Report".
class ReportModule : public QObject, public IModule {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID NexoFrame_IModule_iid)
    Q_INTERFACES(NexoFrame::IModule)
public:
    QStringList progIds() const override;
    QObject* createObject(const QString& progId, QObject* parent = nullptr) override;
    bool registerServer(const QString& registryFile, const QString& libraryPath) override;
    bool unregisterServer(const QString& registryFile) override;
    bool canUnloadNow() const override;
};

} // namespace NexoFrame::Controls
