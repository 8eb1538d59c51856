#pragma once
// Formula facts: computed per cell from the other facts of the same cell. Internal to the
// cube engine; keeps muparser out of Pivot.h.
#include "Pivot.h"
#include <QString>
#include <memory>
#include <vector>

namespace NexoFrame::Olap {

class PivotFormulas {
public:
    // `facts` in result order; the formula facts among them are the ones evaluated.
    explicit PivotFormulas(const QList<PivotFact>& facts);
    ~PivotFormulas();
    PivotFormulas(const PivotFormulas&) = delete;
    PivotFormulas& operator=(const PivotFormulas&) = delete;

    bool empty() const { return m_items.empty(); }

    // Fills the formula facts of one cell. `values` holds every fact of the cell (NaN:
    // empty) and receives the results; a failing formula leaves NaN there and its text
    // ("#HIBA: ...") in errors[f], which is cleared for the others.
    void evaluate(double* values, std::vector<QString>& errors);

private:
    struct Item;
    std::vector<std::unique_ptr<Item>> m_items; // in evaluation order: a fact after those it names
    std::vector<double> m_vars;                 // what the parsers read, one per fact
};

} // namespace NexoFrame::Olap
