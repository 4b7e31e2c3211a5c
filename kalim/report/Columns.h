#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace kalim::program
{

/// Something over time, from 0 on, in columns of equal length whose number is bounded: when they do
/// not reach any further, each two neighbours become one. A column is as good as empty when it is
/// made, and takes another one in by merge().
template <typename Column>
class Columns
{
public:
    static constexpr std::size_t mostColumns = 800;

    /// `secondsPerColumn` at the beginning.
    explicit Columns(double secondsPerColumn)
        : seconds(secondsPerColumn)
    {
    }

    /// The column of a time in seconds.
    Column& at(double time)
    {
        while (time >= seconds * static_cast<double>(mostColumns))
            mergePairs();
        const auto index = std::min(static_cast<std::size_t>(time / seconds), mostColumns - 1);
        if (columns.size() <= index)
            columns.resize(index + 1);
        return columns[index];
    }

    double getSecondsPerColumn() const { return seconds; }

    const std::vector<Column>& getColumns() const { return columns; }

private:
    void mergePairs()
    {
        for (std::size_t i = 1; i < columns.size(); i += 2)
            columns[i - 1].merge(columns[i]);
        for (std::size_t i = 2; i < columns.size(); i += 2)
            columns[i / 2] = std::move(columns[i]);
        columns.resize((columns.size() + 1) / 2);
        seconds *= 2.0;
    }

    double seconds;
    std::vector<Column> columns;
};

} // namespace kalim::program
