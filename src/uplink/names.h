#pragma once

#include <cstddef>
#include <cstring>

namespace appcfg::uplink {

/// The bond's device.
inline constexpr char kBond[] = "bond-la";

/// Names of interfaces or ports, none empty, in order: as many as make 255 characters with a space
/// between each two.
class Names {
  public:
    class Iterator {
      public:
        explicit Iterator(const char* name) : name_(name) {}
        const char* operator*() const { return name_; }
        Iterator& operator++() {
            name_ += std::strlen(name_) + 1;
            return *this;
        }
        bool operator==(const Iterator&) const = default;

      private:
        const char* name_;
    };

    /// Appends the words of `text`. False if they do not fit: what does not has been cut.
    bool add(const char* text);

    void clear() { used_ = 0; }
    bool empty() const { return used_ == 0; }
    Iterator begin() const { return Iterator(names_); }
    Iterator end() const { return Iterator(names_ + used_); }

  private:
    char names_[256];  ///< each ended by a NUL
    size_t used_ = 0;
};

}  // namespace appcfg::uplink
