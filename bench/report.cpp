#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double Percentile(std::vector<double> values, int percent) {
    std::sort(values.begin(), values.end());
    const std::size_t rank = (values.size() * static_cast<std::size_t>(percent) + 99) / 100;
    return values[std::max<std::size_t>(rank, 1) - 1];
}

// By the ranks of the values: how many of them are below the median is binomial.
Interval MedianInterval(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const auto count = static_cast<double>(values.size());
    const auto below = static_cast<std::size_t>(std::max(0.0, count / 2 - 0.98 * std::sqrt(count)));
    return {values[below], values[values.size() - 1 - below]};
}

Race RunInTurn(int rounds, const std::function<void()>& ours, const std::function<void()>& theirs,
               double (*clock)()) {
    Race race;
    for (int round = 0; round < rounds; ++round) {
        const double start = clock();
        ours();
        const double middle = clock();
        theirs();
        race.ours.push_back(middle - start);
        race.theirs.push_back(clock() - middle);
    }
    return race;
}

std::string Race::RatioWithSpread() const {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / theirs[i]);
    return Fixed(Median(ratios), 2) + " (" + Fixed(Percentile(ratios, 10), 2) + " - " +
           Fixed(Percentile(ratios, 90), 2) + ")";
}

std::string Fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

void Table::Print() const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const std::vector<std::string>& row : rows_) {
        for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    const auto print = [&widths](const std::vector<std::string>& row) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            std::printf("| %-*s ", static_cast<int>(widths[i]), row[i].c_str());
        }
        std::puts("|");
    };
    print(rows_.front());
    for (const std::size_t width : widths) std::printf("|%s", std::string(width + 2, '-').c_str());
    std::puts("|");
    std::for_each(rows_.begin() + 1, rows_.end(), print);
}
