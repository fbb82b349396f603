// A pointer list with inline slots, and a list of strings over it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "support/clstring.h"

// Pointers in order. The list doesn't own what they point at.
template <typename T>
class clPtrList {
  public:
    clPtrList() noexcept = default;
    clPtrList(const clPtrList&) = delete;
    clPtrList& operator=(const clPtrList&) = delete;

    int count() const noexcept { return count_; }
    int capacity() const noexcept { return capacity_; }
    int growth() const noexcept { return growth_; }
    T* operator[](int index) const noexcept { return items_[index]; }
    T* const* begin() const noexcept { return items_; }
    T* const* end() const noexcept { return items_ + count_; }

    void Add(T* item) {
        if (count_ == capacity_) Grow();
        items_[count_++] = item;
    }

    // Hands the item over and leaves a null in its place.
    T* Release(int index) noexcept { return std::exchange(items_[index], nullptr); }

    void RemoveAt(int index) noexcept {
        std::copy(items_ + index + 1, items_ + count_, items_ + index);
        --count_;
    }

    // Removes each item for which `goes(item)`, asked once per item from the last to the first, is true.
    template <typename Predicate>
    void RemoveIf(Predicate goes) {
        T** const behind = items_ + count_;
        T** kept = behind;
        for (T** item = behind; item != items_;) {
            --item;
            if (!goes(*item)) *--kept = *item;
        }
        std::copy(kept, behind, items_);
        count_ = static_cast<int>(behind - kept);
    }

    // Back to the inline slots.
    void Clear() noexcept {
        heap_.reset();
        items_ = inline_.data();
        count_ = 0;
        capacity_ = kInlineSlots;
        growth_ = kFirstGrowth;
    }

  private:
    static constexpr int kInlineSlots = 16;
    static constexpr int kFirstGrowth = 32;
    static constexpr int kLargestGrowth = 500000;

    void Grow() {
        const int wanted = capacity_ + growth_;
        std::unique_ptr<T*[]> larger(new T*[static_cast<std::size_t>(wanted)]);
        std::copy(items_, items_ + count_, larger.get());
        heap_ = std::move(larger);
        items_ = heap_.get();
        capacity_ = wanted;
        growth_ = std::min(growth_ * 2, kLargestGrowth);
    }

    std::array<T*, kInlineSlots> inline_;
    T** items_ = inline_.data();
    int count_ = 0;
    int capacity_ = kInlineSlots;
    int growth_ = kFirstGrowth;
    std::unique_ptr<T*[]> heap_;
};

// Strings in order, owned.
class clStringList {
  public:
    clStringList() noexcept = default;
    clStringList(const clStringList&) = delete;
    clStringList& operator=(const clStringList&) = delete;
    ~clStringList() { Clear(); }

    int count() const noexcept { return list_.count(); }
    clString& operator[](int index) noexcept { return *list_[index]; }
    const clString& operator[](int index) const noexcept { return *list_[index]; }

    // The references live until Clear, TakeAll (of this list as the source) or the destruction.
    clString& AddCopy(std::u16string_view source, std::int64_t tag = 0);
    clString& AddMove(clString&& string);
    void Clear() noexcept;
    void AppendCopies(const clStringList& other);
    void TakeAll(clStringList& other);  // appends copies, then clears `other`

    // A series of NUL-terminated strings that an empty one ends; "[Empty]" stands for an empty entry. Null is
    // an empty series.
    void FromMultiString(const char16_t* block);

    // The pieces between carriage returns; none for the empty text.
    void Split(std::u16string_view text);

  private:
    clString& Own(std::unique_ptr<clString> string);

    clPtrList<clString> list_;
};
