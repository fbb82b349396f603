// A row of columns that stays short, however long the time is that it covers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace host {

// Each column stands for a number of units of time, at first one. When the row is full, neighbours are merged
// and every column stands for twice as much: nothing about the length has to be known, or believed,
// beforehand. A column has a `Merge(const Column&)`, and does nothing in it as long as it is new.
template <typename Column>
class FoldingColumns {
  public:
    // With `fresh` as what a column is at first. The capacity is even.
    FoldingColumns(std::size_t capacity, Column fresh) : capacity_(capacity), fresh_(std::move(fresh)) {}

    // The column of a unit; units come in their order.
    Column& At(std::uint64_t unit) {
        while (unit / unitsPerColumn_ >= capacity_) Fold();
        const auto index = static_cast<std::size_t>(unit / unitsPerColumn_);
        if (index >= columns_.size()) columns_.resize(index + 1, fresh_);
        return columns_[index];
    }

    std::uint64_t unitsPerColumn() const { return unitsPerColumn_; }
    std::size_t size() const { return columns_.size(); }
    const Column& operator[](std::size_t index) const { return columns_[index]; }

  private:
    void Fold() {
        for (std::size_t index = 0; index < columns_.size(); ++index) {
            if (index % 2 == 0) {
                if (index > 0) columns_[index / 2] = std::move(columns_[index]);
            } else {
                columns_[index / 2].Merge(columns_[index]);
            }
        }
        columns_.resize((columns_.size() + 1) / 2, fresh_);
        unitsPerColumn_ *= 2;
    }

    const std::size_t capacity_;
    const Column fresh_;
    std::uint64_t unitsPerColumn_ = 1;
    std::vector<Column> columns_;
};

}  // namespace host
