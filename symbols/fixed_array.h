// FixedArray holds as many elements as were asked for when it was made, each value-initialised: zeros, for numbers.
//
// For elements that cannot be copied. Not a std::vector, nor new[]: what these report when a size makes no sense draws
// parts of the C++ runtime into a library that is linked with it statically, which need a newer system than all the rest.
#ifndef AC500_SYMBOLS_FIXED_ARRAY_H
#define AC500_SYMBOLS_FIXED_ARRAY_H

#include <cstddef>
#include <new>

#include <QtCore/qglobal.h>

namespace ac500 {

template <typename T>
class FixedArray {
public:
    // REQUIRES: the bytes of all elements together can be counted.
    explicit FixedArray(std::size_t count)
        : elements_(static_cast<T*>(::operator new(count * sizeof(T)))), count_(count) {
        for (std::size_t i = 0; i < count_; ++i) {
            new (elements_ + i) T();
        }
    }

    ~FixedArray() {
        for (std::size_t i = 0; i < count_; ++i) {
            elements_[i].~T();
        }
        ::operator delete(elements_);
    }

    // REQUIRES (both): the element is there.
    T& operator[](std::size_t i) { return elements_[i]; }
    const T& operator[](std::size_t i) const { return elements_[i]; }

private:
    Q_DISABLE_COPY(FixedArray)

    T* const elements_;
    const std::size_t count_;
};

}  // namespace ac500

#endif
