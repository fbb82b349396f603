#include "report.h"

#include <algorithm>
#include <cstdio>

#include "system.h"

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

Race RunInTurn(int rounds, const std::function<void()>& ours, const std::function<void()>& theirs) {
    std::vector<double> own;
    std::vector<double> rival;
    for (int round = 0; round < rounds; ++round) {
        const double start = WallSeconds();
        ours();
        const double middle = WallSeconds();
        theirs();
        own.push_back(middle - start);
        rival.push_back(WallSeconds() - middle);
    }
    return {Median(own), Median(rival)};
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
