// The predefined functions of equations: the arithmetic, bitwise, logical, comparison and rounding
// operations that an equation node of type function calls with its evaluated operands. The symbol
// manager registers them under their names in equations from g_mathematicalFunctions, in its order.
// Every function reads its operands without changing or owning them, computes in mpf_class at
// GMP's default precision, and gives a result at the precision of its operands.
#pragma once

#include "BaseKit/cStorage.h"
#include "BaseKit/mpfClass.h"

#include <array>
#include <gmpxx.h>

// The shape of every function an equation can call.
typedef mpf_class (*tMathematicalFunction)(cStorage<mpfClass*>&);

// Failures are cInvalidMathematicalFunctionParameter from source "CalcKit/MathematicalFunctions",
// the C++ function name (e.g. "Div"), the name in equations (e.g. "/") and one of these texts:
//   "needs at least 2 operands, 1 given", "needs exactly 1 operand, 2 given",
//   "operand 3 is missing" (a null pointer in the list), "division by zero (operand 2)",
//   "operand 1 must be a whole number, 2.5 given", "operand 2 must lie between 0 and 255, 300 given",
//   "0 cannot be raised to a negative power", "a negative base needs a whole exponent",
//   "the result is too large to be represented".
// Numbers in the texts are printed with "%.17Fg". Operands are counted from 1.

// "+": one or more operands, their sum.
mpf_class Add(cStorage<mpfClass*>& operands);
// "-": one operand is negated; two or more give the first minus each of the others.
mpf_class Sub(cStorage<mpfClass*>& operands);
// "*": one or more operands, their product.
mpf_class Mult(cStorage<mpfClass*>& operands);
// "/": two or more, the first divided by each of the others in order; a divisor of 0 fails.
mpf_class Div(cStorage<mpfClass*>& operands);
// "POWER": exactly two, base and exponent. A whole exponent is computed by repeated squaring in
// mpf, exact whenever the result fits the precision; a negative one gives 1 / base^|n|; 0^0 is 1
// and 0 to a negative power fails. A fractional exponent (or a whole one beyond the unsigned long
// range) goes through exp2/log2 in double precision, about 15 significant digits: it needs a base
// above 0 (0 to a positive fraction is 0), and a negative base fails. A result whose binary
// exponent would pass 2^40 fails; one below -2^40 is 0.
mpf_class Power(cStorage<mpfClass*>& operands);
// "|": two or more whole numbers, their bitwise or (two's complement for negatives, as mpz).
mpf_class LOr(cStorage<mpfClass*>& operands);
// "&": two or more whole numbers, their bitwise and (two's complement for negatives, as mpz).
mpf_class LAnd(cStorage<mpfClass*>& operands);
// "~": exactly one whole number, its bitwise complement -x - 1.
mpf_class LNot(cStorage<mpfClass*>& operands);
// "NOT": exactly one, 1 when it is 0, else 0.
mpf_class Not(cStorage<mpfClass*>& operands);
// "IS_EQUAL": two or more, 1 when all are equal, else 0.
mpf_class IsEqual(cStorage<mpfClass*>& operands);
// "OR": one or more, 1 when any is not 0, else 0.
mpf_class Or(cStorage<mpfClass*>& operands);
// "AND": one or more, 1 when all are not 0, else 0.
mpf_class And(cStorage<mpfClass*>& operands);
// "MAX": one or more, the largest.
mpf_class Max(cStorage<mpfClass*>& operands);
// "MIN": one or more, the smallest.
mpf_class Min(cStorage<mpfClass*>& operands);
// "CEIL": exactly one, the smallest whole number not below it.
mpf_class RoundCeil(cStorage<mpfClass*>& operands);
// "FLOOR": exactly one, the largest whole number not above it.
mpf_class RoundFloor(cStorage<mpfClass*>& operands);
// "ROUND": exactly one, the nearest whole number, halves away from zero (2.5 -> 3, -2.5 -> -3).
mpf_class Round(cStorage<mpfClass*>& operands);
// "RGB": exactly three whole numbers r, g, b from 0 to 255, the colour r + 256 g + 65536 b.
mpf_class Rgb(cStorage<mpfClass*>& operands);

// One predefined function: its name in equations, the function, and its reference text ("&Add"),
// which the symbol manager quotes when the name is already taken.
struct sMathematicalFunction
{
    char const* name;
    tMathematicalFunction function;
    char const* reference;
};

// All predefined functions in the order of registration.
inline constexpr std::array<sMathematicalFunction, 18> g_mathematicalFunctions = {{
    {"+", &Add, "&Add"},
    {"-", &Sub, "&Sub"},
    {"*", &Mult, "&Mult"},
    {"/", &Div, "&Div"},
    {"POWER", &Power, "&Power"},
    {"|", &LOr, "&LOr"},
    {"&", &LAnd, "&LAnd"},
    {"~", &LNot, "&LNot"},
    {"NOT", &Not, "&Not"},
    {"IS_EQUAL", &IsEqual, "&IsEqual"},
    {"OR", &Or, "&Or"},
    {"AND", &And, "&And"},
    {"MAX", &Max, "&Max"},
    {"MIN", &Min, "&Min"},
    {"CEIL", &RoundCeil, "&RoundCeil"},
    {"FLOOR", &RoundFloor, "&RoundFloor"},
    {"ROUND", &Round, "&Round"},
    {"RGB", &Rgb, "&Rgb"},
}};
