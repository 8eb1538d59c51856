#pragma once
// A computed OLAP report as its users see it: page filters, the pivot grid and a chart,
// with CSV and PDF exports of the same texts.
#include "Pivot.h"
#include <QWidget>

class QChartView;
class QComboBox;
class QLabel;
class QSplitter;
class QTableView;

namespace NexoFrame::Olap {

struct ChartOptions {
    bool visible = true;
    // The stored chart codes: 5 2dArea, 1 2dBar, 9 2dCombination, 3 2dLine, 14 2dPie,
    // 7 2dStep, 16 2dXY, 4 3dArea, 0 3dBar, 8 3dCombination, 2 3dLine, 6 3dStep.
    int type = 1;
    bool showLegend = true, showMarkers = false, stackSeries = false, seriesInRows = false;
};

class PreviewModel;

class OlapPreview : public QWidget {
    Q_OBJECT
public:
    explicit OlapPreview(QWidget* parent = nullptr);
    ~OlapPreview() override;

    // Shows a computed cube: the pivot grid, page filter combos, and the chart. A page
    // filter keeps its choice when the new result still offers that value.
    void setResult(const PivotResult& result, const ChartOptions& chart);
    // Shows a message instead (a failed query, no facts ...), in Hungarian.
    void setMessage(const QString& text);

    QTableView* grid() const { return m_grid; }            // "grd_pivot"
    QChartView* chartView() const { return m_chartView; }  // "chv_chart"
    QLabel* messageLabel() const { return m_message; }     // "lbl_message"
    // The combo of the i-th page dimension ("cmb_page_<i>"), nullptr when none.
    QComboBox* pageCombo(int i) const;

    // CSV: UTF-8 with BOM, ';' separator, CRLF lines, the texts as the grid shows them with
    // its header row first. PDF: A4 landscape, the title, the grid, the chart below.
    // Both give false and a Hungarian message on failure.
    bool exportCsv(const QString& path, QString* error) const;
    bool exportPdf(const QString& path, const QString& title, QString* error) const;

    // The whole category value under a point of the chart view's viewport (over its column of
    // the plot or its label on the axis), as the tooltip there shows it; empty elsewhere. The
    // axis wraps a long value; the tooltip keeps it on one line.
    QString categoryAt(const QPoint& viewportPos) const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    // The user chose another value of the page dimension at this position among
    // result.pageDimensions; an invalid value means all.
    void pageFilterChanged(int pageDimension, const QVariant& value);

private:
    void rebuildPageFilters();
    void rebuildChart();

    PreviewModel* m_model = nullptr; // owns the result shown
    ChartOptions m_chart;
    QLabel* m_message = nullptr;
    QWidget* m_pageBar = nullptr;
    QList<QComboBox*> m_pageCombos;
    QSplitter* m_splitter = nullptr;
    QTableView* m_grid = nullptr;
    QChartView* m_chartView = nullptr;
};

} // namespace NexoFrame::Olap
