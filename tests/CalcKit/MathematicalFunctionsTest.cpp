#include "CalcKit/MathematicalFunctions.h"

#include "BaseKit/cKynException.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <optional>
#include <vector>

namespace
{
using tValues = std::vector<std::optional<mpf_class>>;

// Operands as an equation passes them: owned here, lent as a list of pointers; an empty optional
// puts a null pointer in the list.
struct sOperands
{
    explicit sOperands(tValues const& values)
    {
        for (auto const& value : values)
            list.add(value ? &owned.emplace_back(*value) : nullptr);
    }
    std::deque<mpfClass> owned;
    cStorage<mpfClass*> list;
};

mpf_class call(tMathematicalFunction function, tValues const& values)
{
    sOperands operands(values);
    return function(operands.list);
}

// The failure of one call, or none when the call succeeds.
std::optional<cInvalidMathematicalFunctionParameter> failureOf(tMathematicalFunction function,
                                                               tValues const& values)
{
    sOperands operands(values);
    try
    {
        function(operands.list);
    }
    catch (cInvalidMathematicalFunctionParameter const& e)
    {
        return e;
    }
    return std::nullopt;
}

mpf_class powerOfTwo(unsigned int exponent)
{
    return mpf_class(mpz_class(1) << exponent);
}
} // namespace

// Arithmetic folds from the first operand in order, bitwise operations use two's complement, logical
// ones answer 1 or 0, and rounding sends halves away from zero.
TEST(MathematicalFunctions, EachFunctionGivesItsExactResult)
{
    struct
    {
        tMathematicalFunction function;
        tValues operands;
        mpf_class result;
    } const cases[] = {
        {Add, {1, 2, 3.5}, 6.5},
        {Sub, {5}, -5},
        {Sub, {10, 1, 2}, 7},
        {Mult, {2, -3, 0.5}, -3},
        {Div, {1, 4, 2}, 0.125},
        // 2^80 + 1 has more bits than a double: only exact mpf arithmetic keeps the last 1.
        {Add, {powerOfTwo(80), 1}, mpf_class((mpz_class(1) << 80) + 1)},
        {Sub, {powerOfTwo(80) + 1, powerOfTwo(80)}, 1},
        {Power, {2, 80}, powerOfTwo(80)},
        {Power, {-3, 3}, -27},
        {Power, {-2, -3}, -0.125},
        {Power, {0, 0}, 1},
        {Power, {0, 5}, 0},
        // A whole exponent far past unsigned long: only a base of magnitude 1 gives a usable answer.
        {Power, {-1, mpf_class("1000000000000000000000000000001")}, -1},
        {Power, {0.5, powerOfTwo(50)}, 0},
        {LOr, {12, 10}, 14},
        {LOr, {-8, 3}, -5},
        {LOr, {powerOfTwo(70), 1}, powerOfTwo(70) + 1},
        {LAnd, {-8, 12}, 8},
        {LAnd, {-1, 6, 14}, 6},
        {LNot, {0}, -1},
        {LNot, {-6}, 5},
        {Not, {0}, 1},
        {Not, {0.001}, 0},
        {IsEqual, {2, 2, 2}, 1},
        {IsEqual, {2, 2, 2.0000001}, 0},
        {Or, {0, 0}, 0},
        {Or, {0, -3}, 1},
        {And, {1, -2.5}, 1},
        {And, {1, 0, 1}, 0},
        {Max, {-3, -1, -2}, -1},
        {Max, {4.5}, 4.5},
        {Min, {-1, -2, -3}, -3},
        {RoundCeil, {-2.9}, -2},
        {RoundFloor, {-2.1}, -3},
        {Round, {2.5}, 3},
        {Round, {-2.5}, -3},
        {Round, {-2.4999999}, -2},
        // The largest double below one half: adding 0.5 in double precision would round it up to 1.
        {Round, {0.49999999999999994}, 0},
        {Rgb, {193, 252, 54}, 193 + 256 * 252 + 65536 * 54},
        {Rgb, {255, 255, 255}, 16777215},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].result, call(cases[i].function, cases[i].operands)) << "case " << i;
}

TEST(MathematicalFunctions, OperandsStayUnchangedAndSetTheResultPrecision)
{
    sOperands operands({mpf_class(7, 256), 2});
    mpf_class const quotient = Div(operands.list);
    EXPECT_EQ(7, operands.owned[0].value);
    EXPECT_EQ(2, operands.owned[1].value);
    EXPECT_GE(mpf_get_prec(quotient.get_mpf_t()), 256u);
    mpf_class const sum = call(Add, {1, 2});
    EXPECT_EQ(mpf_get_prec(mpf_class().get_mpf_t()), mpf_get_prec(sum.get_mpf_t()));
}

TEST(MathematicalFunctions, FractionalPowersAreCloseAndReachBeyondTheRangeOfADouble)
{
    // Fractional exponents go through double precision: absolute error below 1e-14 near 1.
    EXPECT_NEAR(std::sqrt(2.0), call(Power, {2, 0.5}).get_d(), 1e-14);
    EXPECT_NEAR(1.0 / 3.0, call(Power, {27, -1.0 / 3.0}).get_d(), 1e-14);
    // 10^400.5 still comes out (relative error below 1e-12).
    mpf_class reference;
    mpf_pow_ui(reference.get_mpf_t(), mpf_class(10).get_mpf_t(), 400);
    EXPECT_LT(abs(call(Power, {10, 400.5}) / (reference * sqrt(mpf_class(10))) - 1), 1e-12);
}

TEST(MathematicalFunctions, FailuresSayWhatWasWrong)
{
    std::vector<std::pair<std::optional<cInvalidMathematicalFunctionParameter>, char const*>> const cases = {
        {failureOf(Add, {}), "needs at least 1 operand, 0 given"},
        {failureOf(Div, {1}), "needs at least 2 operands, 1 given"},
        {failureOf(Rgb, {1, 2}), "needs exactly 3 operands, 2 given"},
        {failureOf(Not, {1, 2}), "needs exactly 1 operand, 2 given"},
        {failureOf(Add, {1, 2, std::nullopt}), "operand 3 is missing"},
        {failureOf(Div, {1, 2, 0}), "division by zero (operand 3)"},
        {failureOf(LOr, {1, 2.5}), "operand 2 must be a whole number, 2.5 given"},
        {failureOf(LNot, {0.1}), "operand 1 must be a whole number, 0.10000000000000001 given"},
        {failureOf(Rgb, {0, 256, 0}), "operand 2 must lie between 0 and 255, 256 given"},
        {failureOf(Rgb, {0, 0, -1}), "operand 3 must lie between 0 and 255, -1 given"},
        {failureOf(Rgb, {2.5, 300, 0}), "operand 1 must be a whole number, 2.5 given"},
        {failureOf(Power, {0, -1}), "0 cannot be raised to a negative power"},
        {failureOf(Power, {0, -0.5}), "0 cannot be raised to a negative power"},
        {failureOf(Power, {-8, 1.0 / 3.0}), "a negative base needs a whole exponent"},
        {failureOf(Power, {2, powerOfTwo(50)}), "the result is too large to be represented"},
    };
    for (auto const& [failure, message] : cases)
    {
        ASSERT_TRUE(failure.has_value()) << message;
        EXPECT_EQ(message, failure->getMessage());
        EXPECT_EQ("CalcKit/MathematicalFunctions", failure->getSourceFile());
    }
    EXPECT_STREQ("Invalid operands of function \"/\": division by zero (operand 2)",
                 failureOf(Div, {1, 0})->what());
}

TEST(MathematicalFunctions, TableRegistersEachNameWithItsOwnFunction)
{
    char const* const names[] = {"+",        "-",  "*",   "/",   "POWER", "|",    "&",     "~",     "NOT",
                                 "IS_EQUAL", "OR", "AND", "MAX", "MIN",   "CEIL", "FLOOR", "ROUND", "RGB"};
    ASSERT_EQ(std::size(names), g_mathematicalFunctions.size());
    for (std::size_t i = 0; i < g_mathematicalFunctions.size(); ++i)
    {
        EXPECT_STREQ(names[i], g_mathematicalFunctions[i].name);
        // Every function refuses an empty list, and its failure tells which function ran.
        auto const failure = failureOf(g_mathematicalFunctions[i].function, {});
        ASSERT_TRUE(failure.has_value()) << names[i];
        EXPECT_EQ(names[i], failure->getFunctionName());
        EXPECT_EQ(g_mathematicalFunctions[i].reference, "&" + failure->getFunction());
    }
}
