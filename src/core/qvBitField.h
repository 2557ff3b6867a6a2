#pragma once

#include <cstdint>
#include <type_traits>

/// A fixed number of flags, packed into as few bytes as their number allows: 2 bytes up to 16 bits,
/// 4 up to 32, words of 8 beyond that.
///
/// Bits are numbered from 0, the lowest bit of the first word. A bit outside the field reads as not
/// set, and setting it does nothing.
///
///     enum { kVisible, kSelected, kLocked };
///     qvBitField16 flags;
///     flags[kVisible] = true;
///     if (flags.anySet(kSelected, kLocked)) …
///     if (flags.allSet(kVisible, kSelected)) …
template <unsigned int N>
class qvBitField {
    static_assert(N > 0, "a bit field has at least one bit");

public:
    /// What the bits are kept in.
    using Word =
        std::conditional_t<N <= 16, std::uint16_t, std::conditional_t<N <= 32, std::uint32_t, std::uint64_t>>;

    /// One bit of a field, to read and to assign. It must not outlive the field.
    class Reference {
    public:
        constexpr Reference(const Reference&) = default;
        /// Whether the bit is set.
        constexpr operator bool() const { return fField.test(fBit); } // NOLINT(google-explicit-constructor)
        /// Sets or clears the bit.
        constexpr Reference& operator=(bool on) {
            fField.set(fBit, on);
            return *this;
        }
        /// Assigns the value of the other bit.
        constexpr Reference& operator=(const Reference& other) { return *this = static_cast<bool>(other); }
        /// Turns the bit over.
        constexpr void flip() { *this = !*this; }

    private:
        friend class qvBitField;
        constexpr Reference(qvBitField& field, unsigned int bit) : fField(field), fBit(bit) {}

        qvBitField& fField;
        unsigned int fBit;
    };

    /// No bit set.
    constexpr qvBitField() = default;
    /// The bits of `value`, lowest first; bits that the field does not have are dropped.
    constexpr explicit qvBitField(Word value) : fWords{value} { dropUnused(); }

    /// The number of bits.
    static constexpr unsigned int size() { return N; }

    /// Whether a bit is set.
    constexpr bool test(unsigned int bit) const {
        return bit < N && (fWords[bit / kWordBits] >> (bit % kWordBits) & 1U) != 0;
    }
    /// Sets a bit, or clears it.
    constexpr void set(unsigned int bit, bool on = true) {
        if (bit < N) {
            Word& word = fWords[bit / kWordBits];
            const Word mask = static_cast<Word>(Word{1} << (bit % kWordBits));
            word = static_cast<Word>(on ? word | mask : word & ~mask);
        }
    }
    /// Clears a bit.
    constexpr void clear(unsigned int bit) { set(bit, false); }
    /// Sets every bit.
    constexpr void setAll() {
        for (Word& word : fWords) {
            word = static_cast<Word>(~Word{0});
        }
        dropUnused();
    }
    /// Clears every bit.
    constexpr void clearAll() { *this = qvBitField(); }
    /// Whether no bit is set.
    constexpr bool isEmpty() const { return *this == qvBitField(); }

    /// A bit to read and to assign.
    constexpr Reference operator[](unsigned int bit) { return Reference(*this, bit); }
    /// Whether a bit is set.
    constexpr bool operator[](unsigned int bit) const { return test(bit); }

    /// Whether any of one to four bits is set.
    template <typename... Bits>
    constexpr bool anySet(Bits... bits) const {
        static_assert(sizeof...(bits) >= 1 && sizeof...(bits) <= 4, "one to four bits");
        return (test(static_cast<unsigned int>(bits)) || ...);
    }
    /// Whether all of one to four bits are set.
    template <typename... Bits>
    constexpr bool allSet(Bits... bits) const {
        static_assert(sizeof...(bits) >= 1 && sizeof...(bits) <= 4, "one to four bits");
        return (test(static_cast<unsigned int>(bits)) && ...);
    }

    /// The first word: of a field of up to 64 bits, all of it.
    constexpr Word value() const { return fWords[0]; }

    /// Whether the same bits are set.
    constexpr bool operator==(const qvBitField&) const = default;

private:
    static constexpr unsigned int kWordBits = sizeof(Word) * 8;
    static constexpr unsigned int kWords = (N + kWordBits - 1) / kWordBits;

    constexpr void dropUnused() {
        fWords[kWords - 1] =
            static_cast<Word>(fWords[kWords - 1] & (static_cast<Word>(~Word{0}) >> (kWords * kWordBits - N)));
    }

    Word fWords[kWords] = {};
};

using qvBitField16 = qvBitField<16>; ///< 16 flags in 2 bytes
using qvBitField32 = qvBitField<32>; ///< 32 flags in 4 bytes
using qvBitField64 = qvBitField<64>; ///< 64 flags in 8 bytes
