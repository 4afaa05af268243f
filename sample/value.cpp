#include "value.h"

#include <algorithm>
#include <array>
#include <bit>
#include <stdexcept>
#include <string>

namespace sample {

namespace {

constexpr size_t MAX_NUMBER_DIGITS = 20; // base-100 digits of a NUMBER
constexpr uint32_t INTERVAL_ZERO = 0x80000000;

uint8_t biased(int part, int bias) {
    return static_cast<uint8_t>(part + bias);
}

// NUMBER from its base-100 digits, most significant first, the first of them worth 100^exponent. Neither the
// first nor the last digit is 0. A negative number has its digits complemented and, so that it sorts before
// its own prefixes' extensions, a closing 102 unless it is of full length.
Bytes encode_number(bool negative, int exponent, std::span<const uint8_t> digits) {
    if (digits.empty())
        return {0x80};
    Bytes out;
    out.push_back(negative ? biased(-exponent, 0x3E) : biased(exponent, 0xC1));
    for (uint8_t d : digits)
        out.push_back(static_cast<uint8_t>(negative ? 101 - d : d + 1));
    if (negative && digits.size() < MAX_NUMBER_DIGITS)
        out.push_back(102);
    return out;
}

std::span<const uint8_t> without_trailing_zeros(std::span<const uint8_t> digits) {
    while (!digits.empty() && digits.back() == 0)
        digits = digits.first(digits.size() - 1);
    return digits;
}

[[noreturn]] void bad_decimal(std::string_view s) {
    throw std::invalid_argument("not a decimal number: " + std::string(s));
}

// The decimal digits of the text in pairs around the decimal point, and how many pairs lie before it.
struct DigitPairs {
    Bytes digits;
    int before_point;
};

DigitPairs pair_digits(std::string_view s) {
    size_t point = std::min(s.find('.'), s.size());
    std::string whole(s.substr(0, point));
    std::string fraction(point < s.size() ? s.substr(point + 1) : std::string_view());
    if (whole.size() % 2 != 0)
        whole.insert(0, 1, '0');
    if (fraction.size() % 2 != 0)
        fraction += '0';
    DigitPairs pairs{{}, static_cast<int>(whole.size() / 2)};
    std::string all = whole + fraction;
    for (size_t i = 0; i < all.size(); i += 2)
        pairs.digits.push_back(static_cast<uint8_t>((all[i] - '0') * 10 + (all[i + 1] - '0')));
    return pairs;
}

void append_date(Bytes &out, const DateTime &t) {
    append(out, Bytes{biased(t.year / 100, 100), biased(t.year % 100, 100), biased(t.month, 0),
                      biased(t.day, 0), biased(t.hour, 1), biased(t.minute, 1), biased(t.second, 1)});
}

uint32_t around_interval_zero(int part) {
    return INTERVAL_ZERO + static_cast<uint32_t>(part);
}

} // namespace

Value null_value() {
    return std::nullopt;
}

Value number(int64_t n) {
    bool negative = n < 0;
    uint64_t rest = negative ? uint64_t{0} - static_cast<uint64_t>(n) : static_cast<uint64_t>(n);
    std::array<uint8_t, 10> digits{};
    size_t first = digits.size();
    for (; rest != 0; rest /= 100)
        digits[--first] = static_cast<uint8_t>(rest % 100);
    std::span<const uint8_t> used = std::span(digits).subspan(first);
    return encode_number(negative, static_cast<int>(used.size()) - 1, without_trailing_zeros(used));
}

Value decimal(std::string_view s) {
    bool negative = !s.empty() && s.front() == '-';
    std::string_view body = negative ? s.substr(1) : s;
    auto digits = std::count_if(body.begin(), body.end(), [](char c) { return c >= '0' && c <= '9'; });
    auto points = std::count(body.begin(), body.end(), '.');
    if (digits == 0 || points > 1 || digits + points != static_cast<ptrdiff_t>(body.size()))
        bad_decimal(s);
    DigitPairs pairs = pair_digits(body);
    std::span<const uint8_t> used = without_trailing_zeros(pairs.digits);
    int exponent = pairs.before_point - 1;
    for (; !used.empty() && used.front() == 0; used = used.subspan(1))
        exponent--;
    if (used.size() > MAX_NUMBER_DIGITS)
        bad_decimal(s);
    return encode_number(negative, exponent, used);
}

Value text(std::string_view s) {
    if (s.empty())
        return std::nullopt;
    return Bytes(s.begin(), s.end());
}

Value padded(std::string_view s, size_t width) {
    Bytes out(s.begin(), s.end());
    out.resize(std::max(width, out.size()), ' ');
    return out;
}

Value raw(ByteView bytes) {
    return Bytes(bytes.begin(), bytes.end());
}

Value date(const DateTime &t) {
    Bytes out;
    append_date(out, t);
    return out;
}

Value timestamp(const DateTime &t, uint32_t nanoseconds) {
    Bytes out;
    append_date(out, t);
    if (nanoseconds != 0)
        append_be32(out, nanoseconds);
    return out;
}

Value timestamp_tz(const DateTime &t, uint32_t nanoseconds, int offset_minutes) {
    Bytes out;
    append_date(out, t);
    append_be32(out, nanoseconds);
    out.push_back(biased(offset_minutes / 60, 20));
    out.push_back(biased(offset_minutes % 60, 60));
    return out;
}

Value interval_ym(int years, int months) {
    Bytes out;
    append_be32(out, around_interval_zero(years));
    out.push_back(biased(months, 60));
    return out;
}

Value interval_ds(int days, int hours, int minutes, int seconds, int nanoseconds) {
    Bytes out;
    append_be32(out, around_interval_zero(days));
    append(out, Bytes{biased(hours, 60), biased(minutes, 60), biased(seconds, 60)});
    append_be32(out, around_interval_zero(nanoseconds));
    return out;
}

Value binary_float(float f) {
    // Negative zero is stored as zero.
    auto bits = std::bit_cast<uint32_t>(f == 0 ? 0.0F : f);
    Bytes out;
    append_be32(out, bits >> 31 != 0 ? ~bits : bits | 0x80000000);
    return out;
}

Value binary_double(double d) {
    auto bits = std::bit_cast<uint64_t>(d == 0 ? 0.0 : d);
    bits = bits >> 63 != 0 ? ~bits : bits | uint64_t{1} << 63;
    Bytes out;
    append_be32(out, static_cast<uint32_t>(bits >> 32));
    append_be32(out, static_cast<uint32_t>(bits));
    return out;
}

Value lob_locator(uint64_t lob_id, bool character) {
    Bytes out{0x00, 0x54, 0x00, 0x01, static_cast<uint8_t>(character ? 0x02 : 0x01),
              0x08, 0x80, 0x00, 0x00, 0x02};
    append(out, Bytes{0x00, 0x00});
    append_be32(out, static_cast<uint32_t>(lob_id >> 32));
    append_be32(out, static_cast<uint32_t>(lob_id));
    append(out, Bytes{0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00});
    return out;
}

} // namespace sample
