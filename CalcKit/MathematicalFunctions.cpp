#include "CalcKit/MathematicalFunctions.h"

#include "BaseKit/Conversions.h"
#include "BaseKit/cKynException.h"

#include <cmath>
#include <source_location>
#include <string>

namespace
{
char const* const kSource = "CalcKit/MathematicalFunctions";

// A power whose result would pass 2^(2^40) is refused, and one below 2^-(2^40) is 0: far beyond any
// physical quantity, yet well inside mpf's exponent range, so repeated squaring never wraps it.
constexpr double kLargestBinaryExponent = 1099511627776.0;

std::string operandCountText(unsigned int count)
{
    return std::to_string(count) + (count == 1 ? " operand" : " operands");
}

// The operands of one call with the checks every function shares. A failure names the function
// both as written in C++ and in equations, and carries the line of the check that failed.
class cOperands
{
public:
    cOperands(cStorage<mpfClass*> const& operands, char const* function, char const* name)
        : m_operands(operands), m_function(function), m_name(name)
    {
    }

    [[noreturn]] void fail(std::string const& text,
                           std::source_location where = std::source_location::current()) const
    {
        throw cInvalidMathematicalFunctionParameter(kSource, m_function, int(where.line()), m_name, text);
    }

    void requireExactly(unsigned int count,
                        std::source_location where = std::source_location::current()) const
    {
        if (m_operands.size() != count)
            fail("needs exactly " + operandCountText(count) + ", " + std::to_string(m_operands.size()) +
                     " given",
                 where);
        requirePresent(where);
    }

    void requireAtLeast(unsigned int count,
                        std::source_location where = std::source_location::current()) const
    {
        if (m_operands.size() < count)
            fail("needs at least " + operandCountText(count) + ", " + std::to_string(m_operands.size()) +
                     " given",
                 where);
        requirePresent(where);
    }

    unsigned int size() const { return m_operands.size(); }
    mpf_class const& operator[](unsigned int index) const { return m_operands[index]->value; }

    // The largest precision among the operands: results are built at it, so that a result never
    // holds fewer bits than what it was computed from.
    mp_bitcnt_t precision() const
    {
        mp_bitcnt_t precision = 0;
        for (unsigned int i = 0; i < m_operands.size(); ++i)
            if (mpf_get_prec(m_operands[i]->value.get_mpf_t()) > precision)
                precision = mpf_get_prec(m_operands[i]->value.get_mpf_t());
        return precision;
    }

    mpf_class number(long value) const { return mpf_class(value, precision()); }

    // Operand index as a whole number, or a failure naming it (counted from 1) and its value.
    mpz_class whole(unsigned int index, std::source_location where = std::source_location::current()) const
    {
        mpf_class const& value = (*this)[index];
        if (!mpf_integer_p(value.get_mpf_t()))
            fail("operand " + std::to_string(index + 1) + " must be a whole number, " + numberToText(value) +
                     " given",
                 where);
        return mpz_class(value);
    }

private:
    void requirePresent(std::source_location where) const
    {
        for (unsigned int i = 0; i < m_operands.size(); ++i)
            if (m_operands[i] == nullptr)
                fail("operand " + std::to_string(i + 1) + " is missing", where);
    }

    cStorage<mpfClass*> const& m_operands;
    char const* m_function;
    char const* m_name;
};

// log2 |value| for any nonzero mpf, even one far outside the range of a double.
double binaryLogarithm(mpf_class const& value)
{
    signed long int exponent = 0;
    double const mantissa = mpf_get_d_2exp(&exponent, value.get_mpf_t());
    return std::log2(std::fabs(mantissa)) + double(exponent);
}

// magnitude^exponent for magnitude > 0, through exp2/log2 in double precision. Only the fraction
// of the binary exponent goes through exp2; the whole part scales the result in mpf, so results
// beyond the range of a double still come out (and powers of two stay exact).
mpf_class powerThroughLogarithm(cOperands const& operands, mpf_class const& magnitude,
                                mpf_class const& exponent)
{
    double const binaryExponent = mpf_get_d(exponent.get_mpf_t()) * binaryLogarithm(magnitude);
    if (!(binaryExponent <= kLargestBinaryExponent))
        operands.fail("the result is too large to be represented");
    mpf_class result = operands.number(0);
    if (binaryExponent < -kLargestBinaryExponent)
        return result;
    double const wholePart = std::floor(binaryExponent);
    mpf_set_d(result.get_mpf_t(), std::exp2(binaryExponent - wholePart));
    long const shift = long(wholePart);
    if (shift >= 0)
        mpf_mul_2exp(result.get_mpf_t(), result.get_mpf_t(), mp_bitcnt_t(shift));
    else
        mpf_div_2exp(result.get_mpf_t(), result.get_mpf_t(), mp_bitcnt_t(-shift));
    return result;
}

// base^n for a whole n and a nonzero base.
mpf_class wholePower(cOperands const& operands, mpf_class const& base, mpf_class const& exponent)
{
    mpz_class const n(exponent);
    if (abs(base) == 1)
        return operands.number(sgn(base) < 0 && mpz_odd_p(n.get_mpz_t()) ? -1 : 1);

    mpz_class const count = abs(n);
    if (!mpz_fits_ulong_p(count.get_mpz_t()))
    {
        // Only a base very close to 1 keeps such a power in range; there double precision is all
        // the answer can have anyway.
        mpf_class result = powerThroughLogarithm(operands, abs(base), exponent);
        if (sgn(base) < 0 && mpz_odd_p(n.get_mpz_t()))
            result = -result;
        return result;
    }

    // Range check before squaring: the binary exponent of the result is about n log2|base|.
    double const binaryExponent = mpf_get_d(exponent.get_mpf_t()) * binaryLogarithm(base);
    if (binaryExponent > kLargestBinaryExponent)
        operands.fail("the result is too large to be represented");
    mpf_class result = operands.number(0);
    if (binaryExponent < -kLargestBinaryExponent)
        return result;
    mpf_pow_ui(result.get_mpf_t(), base.get_mpf_t(), count.get_ui());
    if (sgn(n) < 0)
        mpf_ui_div(result.get_mpf_t(), 1, result.get_mpf_t());
    return result;
}

// 1 or 0 at the operands' precision.
mpf_class truth(cOperands const& operands, bool value)
{
    return operands.number(value ? 1 : 0);
}
} // namespace

mpf_class Add(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Add", "+");
    list.requireAtLeast(1);
    mpf_class sum(list[0], list.precision());
    for (unsigned int i = 1; i < list.size(); ++i)
        sum += list[i];
    return sum;
}

mpf_class Sub(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Sub", "-");
    list.requireAtLeast(1);
    mpf_class difference(list[0], list.precision());
    if (list.size() == 1)
        return -difference;
    for (unsigned int i = 1; i < list.size(); ++i)
        difference -= list[i];
    return difference;
}

mpf_class Mult(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Mult", "*");
    list.requireAtLeast(1);
    mpf_class product(list[0], list.precision());
    for (unsigned int i = 1; i < list.size(); ++i)
        product *= list[i];
    return product;
}

mpf_class Div(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Div", "/");
    list.requireAtLeast(2);
    mpf_class quotient(list[0], list.precision());
    for (unsigned int i = 1; i < list.size(); ++i)
    {
        if (sgn(list[i]) == 0)
            list.fail("division by zero (operand " + std::to_string(i + 1) + ")");
        quotient /= list[i];
    }
    return quotient;
}

mpf_class Power(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Power", "POWER");
    list.requireExactly(2);
    mpf_class const& base = list[0];
    mpf_class const& exponent = list[1];

    if (sgn(base) == 0)
    {
        if (sgn(exponent) < 0)
            list.fail("0 cannot be raised to a negative power");
        return list.number(sgn(exponent) == 0 ? 1 : 0);
    }
    if (mpf_integer_p(exponent.get_mpf_t()))
        return wholePower(list, base, exponent);
    if (sgn(base) < 0)
        list.fail("a negative base needs a whole exponent");
    return powerThroughLogarithm(list, base, exponent);
}

mpf_class LOr(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "LOr", "|");
    list.requireAtLeast(2);
    mpz_class bits = list.whole(0);
    for (unsigned int i = 1; i < list.size(); ++i)
        bits |= list.whole(i);
    return mpf_class(bits, list.precision());
}

mpf_class LAnd(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "LAnd", "&");
    list.requireAtLeast(2);
    mpz_class bits = list.whole(0);
    for (unsigned int i = 1; i < list.size(); ++i)
        bits &= list.whole(i);
    return mpf_class(bits, list.precision());
}

mpf_class LNot(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "LNot", "~");
    list.requireExactly(1);
    mpz_class bits = list.whole(0);
    mpz_com(bits.get_mpz_t(), bits.get_mpz_t());
    return mpf_class(bits, list.precision());
}

mpf_class Not(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Not", "NOT");
    list.requireExactly(1);
    return truth(list, sgn(list[0]) == 0);
}

mpf_class IsEqual(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "IsEqual", "IS_EQUAL");
    list.requireAtLeast(2);
    for (unsigned int i = 1; i < list.size(); ++i)
        if (cmp(list[i], list[0]) != 0)
            return truth(list, false);
    return truth(list, true);
}

mpf_class Or(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Or", "OR");
    list.requireAtLeast(1);
    for (unsigned int i = 0; i < list.size(); ++i)
        if (sgn(list[i]) != 0)
            return truth(list, true);
    return truth(list, false);
}

mpf_class And(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "And", "AND");
    list.requireAtLeast(1);
    for (unsigned int i = 0; i < list.size(); ++i)
        if (sgn(list[i]) == 0)
            return truth(list, false);
    return truth(list, true);
}

mpf_class Max(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Max", "MAX");
    list.requireAtLeast(1);
    unsigned int largest = 0;
    for (unsigned int i = 1; i < list.size(); ++i)
        if (list[i] > list[largest])
            largest = i;
    return mpf_class(list[largest], list.precision());
}

mpf_class Min(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Min", "MIN");
    list.requireAtLeast(1);
    unsigned int smallest = 0;
    for (unsigned int i = 1; i < list.size(); ++i)
        if (list[i] < list[smallest])
            smallest = i;
    return mpf_class(list[smallest], list.precision());
}

mpf_class RoundCeil(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "RoundCeil", "CEIL");
    list.requireExactly(1);
    mpf_class result = list.number(0);
    mpf_ceil(result.get_mpf_t(), list[0].get_mpf_t());
    return result;
}

mpf_class RoundFloor(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "RoundFloor", "FLOOR");
    list.requireExactly(1);
    mpf_class result = list.number(0);
    mpf_floor(result.get_mpf_t(), list[0].get_mpf_t());
    return result;
}

mpf_class Round(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Round", "ROUND");
    list.requireExactly(1);
    mpf_class const& value = list[0];
    mpf_class result = list.number(0);
    mpf_trunc(result.get_mpf_t(), value.get_mpf_t());
    // The fraction is exact (it holds only low bits of value), so the comparison with one half is
    // too; adding 0.5 and taking the floor would round a large value before the test.
    mpf_class const fraction(value - result, list.precision());
    if (fraction >= 0.5)
        result += 1;
    else if (fraction <= -0.5)
        result -= 1;
    return result;
}

mpf_class Rgb(cStorage<mpfClass*>& operands)
{
    cOperands const list(operands, "Rgb", "RGB");
    list.requireExactly(3);
    mpz_class colour = 0;
    for (unsigned int i = 0; i < 3; ++i)
    {
        mpz_class const component = list.whole(i);
        if (component < 0 || component > 255)
            list.fail("operand " + std::to_string(i + 1) + " must lie between 0 and 255, " +
                      numberToText(list[i]) + " given");
        colour += component << (8 * i);
    }
    return mpf_class(colour, list.precision());
}
