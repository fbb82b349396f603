// Statistics and the table that a benchmark prints.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Of an odd or even number of values; at least one.
double Median(std::vector<double> values);

// The value that `percent` of them don't pass; at least one.
double Percentile(std::vector<double> values, int percent);

// What the median lies between in 95 of 100 such samples; of few values the smallest and the largest.
struct Interval {
    double low;
    double high;
};
Interval MedianInterval(std::vector<double> values);

// Seconds of two rivals that run in turn, so that both meet the same disturbances, round by round.
struct Race {
    std::vector<double> ours;
    std::vector<double> theirs;

    double Ours() const { return Median(ours); }
    double Theirs() const { return Median(theirs); }
    // Of the two of a round: the middle, and what 10 and 90 percent of the rounds don't pass. A wide spread
    // tells of a busy machine.
    std::string RatioWithSpread() const;
};
// With ProcessorSeconds as the clock what others do on the machine counts less; for jobs that never wait.
Race RunInTurn(int rounds, const std::function<void()>& ours, const std::function<void()>& theirs,
               double (*clock)());

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
