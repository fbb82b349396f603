// Statistics and the table that a benchmark prints.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Of an odd or even number of values; at least one.
double Median(std::vector<double> values);

// The value that `percent` of them don't pass; at least one.
double Percentile(std::vector<double> values, int percent);

// Median seconds of two rivals that run in turn, so that both meet the same disturbances.
struct Race {
    double ours;
    double theirs;
};
Race RunInTurn(int rounds, const std::function<void()>& ours, const std::function<void()>& theirs);

// A number with so many digits behind the point.
std::string Fixed(double value, int decimals);

// Markdown; all rows have as many cells as the head.
class Table {
  public:
    explicit Table(std::vector<std::string> head) { rows_.push_back(std::move(head)); }
    void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    void Print() const;  // to standard output, columns aligned

  private:
    std::vector<std::vector<std::string>> rows_;
};
