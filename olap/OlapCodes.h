#pragma once
// The code tables of the report fields: stored value and name. A value outside a table has
// no name.
#include <QList>
#include <QString>
#include <utility>

namespace NexoFrame::OlapCodes {

using Code = std::pair<int, const char*>;

// In the order of the stored values.
inline const QList<Code> dimTypes{{0, "xoft_None"}, {1, "xoft_String"}, {2, "xoft_Boolean"}, {3, "xoft_Word"},
                                  {4, "xoft_Smallint"}, {5, "xoft_Integer"}, {6, "xoft_Float"}, {7, "xoft_Currency"},
                                  {8, "xoft_DateTime"}, {9, "xoft_Date"}, {10, "xoft_Time"}};
inline const QList<Code> dimAxes{{-1, "xda_every"}, {0, "xda_vertical"}, {1, "xda_horizontal"}, {2, "xda_outside"},
                                 {3, "xda_invisible"}};
inline const QList<Code> factAlgorithms{{1, "xfaa_SUM"},       {2, "xfaa_MIN"},       {3, "xfaa_MAX"},
                                        {4, "xfaa_LAST"},      {4096, "xfam_FORMULA"}, {4097, "xfam_COUNT"},
                                        {4098, "xfam_SUM"},    {4099, "xfam_MIN"},    {4100, "xfam_MAX"},
                                        {4101, "xfam_AVG"},    {4102, "xfam_AVEDEV"}, {4103, "xfam_VAR"},
                                        {4104, "xfam_STDDEV"}, {4105, "xfam_VARP"},   {4106, "xfam_STDDEVP"},
                                        {4107, "xfam_RMS"},    {4108, "xfam_RANKUP"}, {4109, "xfam_RANKDOWN"}};
inline const QList<Code> countLevels{{0, "xfcnt_CHILDCOUNT"}, {1, "xfcnt_LEAFCOUNT"}, {2, "xfcnt_CUBECOUNT"},
                                     {3, "xfcnt_RECCOUNT"}};
inline const QList<std::pair<int, QString>> dimOrders{{0, QStringLiteral("Növekvő")}, {-1, QStringLiteral("Csökkentő")}};

constexpr int kFormula = 4096;

inline QString nameOf(const QList<Code>& table, int value)
{
    for (const Code& c : table)
        if (c.first == value) return QString::fromLatin1(c.second);
    return {};
}

inline QString orderName(int value)
{
    for (const auto& [v, name] : dimOrders)
        if (v == value) return name;
    return {};
}

// The combos list the names in alphabetical order.
inline QList<Code> alphabetical(QList<Code> table)
{
    std::sort(table.begin(), table.end(), [](const Code& a, const Code& b) { return qstrcmp(a.second, b.second) < 0; });
    return table;
}

} // namespace NexoFrame::OlapCodes
