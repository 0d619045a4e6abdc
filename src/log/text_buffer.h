#pragma once
// The growing byte buffer in which the log composes its records before they go to the stream.
// Kept for the life of the log, so that writing a record allocates nothing once it is large enough.
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarv {

class TextBuffer {
public:
    explicit TextBuffer(std::size_t capacity = 4096) { grow(capacity); }
    ~TextBuffer() { std::free(data_); }
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;

    // At least n writable bytes at the end; write there and commit() the new end.
    char* room(std::size_t n)
    {
        if (capacity_ - size_ < n) grow(n);
        return data_ + size_;
    }
    void commit(char* end) { size_ = static_cast<std::size_t>(end - data_); }

    void append(const char* text, std::size_t n)
    {
        std::memcpy(room(n), text, n);
        size_ += n;
    }
    void append(const char* text) { append(text, std::strlen(text)); }
    void appendBlanks(std::size_t n)
    {
        std::memset(room(n), ' ', n);
        size_ += n;
    }

    // Drops everything after the first n bytes.
    void truncate(std::size_t n)
    {
        if (n < size_) size_ = n;
    }

    const char* data() const { return data_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    void clear() { size_ = 0; }

private:
    void grow(std::size_t n)
    {
        std::size_t capacity = capacity_ ? capacity_ : 64;
        while (capacity - size_ < n) capacity *= 2;
        char* data = static_cast<char*>(std::realloc(data_, capacity));
        if (!data) throw std::bad_alloc();
        data_ = data;
        capacity_ = capacity;
    }

    char* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace tarv
