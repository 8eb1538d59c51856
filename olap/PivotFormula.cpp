#include "PivotFormula.h"
#include <QHash>
#include <algorithm>
#include <muParser.h>
#include <cmath>
#include <limits>

namespace NexoFrame::Olap {

namespace {

constexpr double kEmpty = std::numeric_limits<double>::quiet_NaN();

QString varName(int fact) { return QStringLiteral("nexo_f%1").arg(fact); }

QString failure(const QString& reason) { return QStringLiteral("#HIBA: ") + reason; }

} // namespace

struct PivotFormulas::Item {
    int fact = -1;
    std::vector<int> refs;   // the facts the formula names, each once
    QString fixedError;      // an unknown name, a cycle or bad syntax: every cell shows it
    mu::Parser parser;
};

PivotFormulas::PivotFormulas(const QList<PivotFact>& facts) : m_vars(size_t(facts.size()), 1.0)
{
    QHash<QString, int> byCaption;
    for (int f = 0; f < facts.size(); ++f)
        if (!byCaption.contains(facts[f].caption.trimmed())) byCaption.insert(facts[f].caption.trimmed(), f);

    std::vector<std::unique_ptr<Item>> pending;
    std::vector<QString> translated;
    for (int f = 0; f < facts.size(); ++f) {
        if (facts[f].algorithm != xfam_FORMULA) continue;
        auto item = std::make_unique<Item>();
        item->fact = f;
        // Captions hold spaces and accents that muparser's names may not: each "[caption]"
        // becomes a plain variable name.
        const QString& text = facts[f].formula;
        QString expr;
        for (qsizetype i = 0; i < text.size();) {
            const qsizetype close = text.at(i) == QLatin1Char('[') ? text.indexOf(QLatin1Char(']'), i + 1) : -1;
            if (close < 0) {
                expr += text.at(i++);
                continue;
            }
            const QString name = text.mid(i + 1, close - i - 1).trimmed();
            const auto found = byCaption.constFind(name);
            if (found == byCaption.constEnd()) {
                if (item->fixedError.isEmpty()) item->fixedError = failure(QStringLiteral("ismeretlen tény: [%1]").arg(name));
            } else {
                if (std::find(item->refs.begin(), item->refs.end(), *found) == item->refs.end()) item->refs.push_back(*found);
                expr += QLatin1Char(' ') + varName(*found) + QLatin1Char(' ');
            }
            i = close + 1;
        }
        translated.push_back(expr);
        pending.push_back(std::move(item));
    }

    // A formula may name another formula: those it names are evaluated first. Whatever is
    // left when nothing more can go is a cycle.
    std::vector<char> done(size_t(facts.size()), 1);
    for (const auto& item : pending) done[size_t(item->fact)] = 0;
    std::vector<QString> exprOf(size_t(facts.size()));
    for (size_t i = 0; i < pending.size(); ++i) exprOf[size_t(pending[i]->fact)] = translated[i];
    while (!pending.empty()) {
        bool moved = false;
        for (auto it = pending.begin(); it != pending.end();) {
            const bool ready = std::all_of((*it)->refs.begin(), (*it)->refs.end(), [&](int r) { return done[size_t(r)]; });
            if (!ready) {
                ++it;
                continue;
            }
            done[size_t((*it)->fact)] = 1;
            m_items.push_back(std::move(*it));
            it = pending.erase(it);
            moved = true;
        }
        if (moved) continue;
        for (auto& item : pending) {
            if (item->fixedError.isEmpty()) item->fixedError = failure(QStringLiteral("körkörös hivatkozás"));
            item->refs.clear();
            m_items.push_back(std::move(item));
        }
        pending.clear();
    }

    for (auto& item : m_items) {
        if (!item->fixedError.isEmpty()) continue;
        try {
            for (int r : item->refs) item->parser.DefineVar(varName(r).toStdString(), &m_vars[size_t(r)]);
            item->parser.SetExpr(exprOf[size_t(item->fact)].toStdString());
            // muparser reads the text on the first evaluation: a syntax error shows here, once.
            item->parser.Eval();
        } catch (const mu::Parser::exception_type& e) {
            item->fixedError = failure(QString::fromStdString(e.GetMsg()));
        }
    }
}

PivotFormulas::~PivotFormulas() = default;

void PivotFormulas::evaluate(double* values, std::vector<QString>& errors)
{
    for (auto& item : m_items) {
        const int f = item->fact;
        values[f] = kEmpty;
        errors[size_t(f)].clear();
        if (!item->fixedError.isEmpty()) {
            errors[size_t(f)] = item->fixedError;
            continue;
        }
        bool empty = false;
        for (int r : item->refs) {
            if (!errors[size_t(r)].isEmpty()) {
                errors[size_t(f)] = errors[size_t(r)];
                break;
            }
            if (std::isnan(values[r])) empty = true;
            m_vars[size_t(r)] = values[r];
        }
        if (!errors[size_t(f)].isEmpty() || empty) continue;
        try {
            const double v = item->parser.Eval();
            if (std::isfinite(v))
                values[f] = v;
            else
                errors[size_t(f)] = failure(QStringLiteral("érvénytelen eredmény"));
        } catch (const mu::Parser::exception_type& e) {
            errors[size_t(f)] = failure(QString::fromStdString(e.GetMsg()));
        }
    }
}

} // namespace NexoFrame::Olap
