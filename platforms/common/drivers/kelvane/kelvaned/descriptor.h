// An open file that is closed with its owner.
#ifndef KELVANED_DESCRIPTOR_H
#define KELVANED_DESCRIPTOR_H

#include <utility>

#include <unistd.h>

class descriptor {
  public:
    descriptor() = default;
    explicit descriptor(int number) : number_(number)
    {
    }
    descriptor(descriptor &&other) noexcept : number_(std::exchange(other.number_, -1))
    {
    }
    descriptor &operator=(descriptor &&other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    ~descriptor()
    {
        if (number_ >= 0) {
            close(number_);
        }
    }

    int number() const // -1: none
    {
        return number_;
    }

  private:
    int number_ = -1;
};

#endif
