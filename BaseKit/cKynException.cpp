#include "BaseKit/cKynException.h"

#include "BaseKit/Conversions.h"

#include <utility>

namespace
{
std::string orEmpty(char const* text)
{
    return text ? std::string(text) : std::string();
}

std::string quoted(std::string const& text)
{
    return "\"" + text + "\"";
}
} // namespace

cKynException::cKynException() = default;
cKynException::cKynException(cKynException const& other) = default;
cKynException& cKynException::operator=(cKynException const& other) = default;
cKynException::~cKynException() = default;

cKynException::cKynException(char const* file, char const* function, int line, std::string text)
    : m_sourceFile(orEmpty(file)), m_function(orEmpty(function)), m_line(line), m_text(std::move(text))
{
}

void cKynException::setStr(char const* file, char const* function, int line, std::string const& text)
{
    m_sourceFile = orEmpty(file);
    m_function = orEmpty(function);
    m_line = line;
    m_text = text;
}

void cKynException::appendText(std::string const& text)
{
    m_text += text;
}

void cKynException::addFileName(std::string const& path)
{
    appendText("\nFile: " + path);
}

void cKynException::addLineNumber(int line)
{
    appendText("Line: " + std::to_string(line) + "\n");
}

char const* cKynException::what() const noexcept
{
    return m_text.c_str();
}

std::string cKynException::getLocation() const
{
    return m_sourceFile + ", " + m_function + ", line " + std::to_string(m_line);
}

#define KYN_DEFINE_PLAIN_EXCEPTION(Name, message)                                                            \
    Name::Name(char const* file, char const* function, int line)                                             \
        : cKynException(file, function, line, message)                                                       \
    {                                                                                                        \
    }

KYN_DEFINE_PLAIN_EXCEPTION(cBadChannelReference, "Bad channel reference.")
KYN_DEFINE_PLAIN_EXCEPTION(cBadGraphObjectReference, "Bad graph object reference.")
KYN_DEFINE_PLAIN_EXCEPTION(cBadListIndex, "List index out of range.")
KYN_DEFINE_PLAIN_EXCEPTION(cBadT0SynchronizationException, "The T0 of the signals are not synchronised.")
KYN_DEFINE_PLAIN_EXCEPTION(cBadTimeEventValueReference, "Bad time event value reference.")
KYN_DEFINE_PLAIN_EXCEPTION(cFileNotWritableException, "The file is not writable.")
KYN_DEFINE_PLAIN_EXCEPTION(cMessageError, "The message could not be posted to the thread.")
KYN_DEFINE_PLAIN_EXCEPTION(cNegativeT0Exception, "Negative T0.")
KYN_DEFINE_PLAIN_EXCEPTION(cParameterStillExistException, "The parameter is still in use.")
KYN_DEFINE_PLAIN_EXCEPTION(cStructTTFSearchedException, "Expected time to fire not found.")
KYN_DEFINE_PLAIN_EXCEPTION(cUnknownMessageError, "Unknown message.")
KYN_DEFINE_PLAIN_EXCEPTION(cMemoryAllocationFailed, "Memory allocation failed.")

#undef KYN_DEFINE_PLAIN_EXCEPTION

namespace
{
std::string titledText(char const* title, std::string const& text)
{
    std::string result = orEmpty(title);
    if (text.empty() && result.size() >= 2 && result.compare(result.size() - 2, 2, ": ") == 0)
    {
        result.resize(result.size() - 2);
    }
    return result + text;
}
} // namespace

cKynTextException::cKynTextException(char const* file, char const* function, int line, char const* title,
                                     std::string const& text)
    : cKynException(file, function, line, titledText(title, text)), m_argument(text)
{
}

#define KYN_DEFINE_TEXT_EXCEPTION(Name, Base, title)                                                         \
    Name::Name(char const* file, char const* function, int line, std::string const& text)                    \
        : Base(file, function, line, title, text)                                                            \
    {                                                                                                        \
    }

// Texts that are whole sentences stand alone; names and paths get a title that says what they are.
KYN_DEFINE_TEXT_EXCEPTION(cBadReference, cKynTextException, "Bad reference: ")
KYN_DEFINE_TEXT_EXCEPTION(cBatchModeCreationFailedException, cKynTextException,
                          "Batch mode creation failed: ")
KYN_DEFINE_TEXT_EXCEPTION(cBatchModeLoadingFailedException, cKynTextException, "Batch mode loading failed: ")
KYN_DEFINE_TEXT_EXCEPTION(cErrorOccuredDuringEquationEvaluation, cKynTextException,
                          "Error during equation evaluation: ")
KYN_DEFINE_TEXT_EXCEPTION(cForbiddenAction, cKynTextException, "")
KYN_DEFINE_TEXT_EXCEPTION(cFstreamOpenException, cKynTextException, "Unable to open file: ")
KYN_DEFINE_TEXT_EXCEPTION(cGenericException, cKynTextException, "")
KYN_DEFINE_TEXT_EXCEPTION(cIncompatibleNewParameterSet, cKynTextException,
                          "The new parameter set does not match the registered symbols: ")
KYN_DEFINE_TEXT_EXCEPTION(cIncompatibleParametersException, cKynTextException, "Incompatible parameters: ")
KYN_DEFINE_TEXT_EXCEPTION(cLoopInProcessorChainDetected, cKynTextException,
                          "Loop or unknown \"Previous\" in the processor chain:\n")
KYN_DEFINE_TEXT_EXCEPTION(cMissingParameterException, cKynTextException, "Missing parameter: ")
KYN_DEFINE_TEXT_EXCEPTION(cNULLPointer, cKynTextException, "")
KYN_DEFINE_TEXT_EXCEPTION(cTestAlreadyRunningException, cKynTextException, "")
KYN_DEFINE_TEXT_EXCEPTION(cUnknownGraphTypeException, cKynTextException, "Unknown graph type.\n")
KYN_DEFINE_TEXT_EXCEPTION(cUnknownSymbol, cKynTextException, "Unknown symbol: ")
KYN_DEFINE_TEXT_EXCEPTION(cTooManyOpenFilesException, cFstreamOpenException,
                          "Too many open files, unable to open: ")

#undef KYN_DEFINE_TEXT_EXCEPTION

cInvalidEquationSyntax::cInvalidEquationSyntax(char const* file, char const* function, int line,
                                               std::string const& equation, std::string const& message)
    : cKynException(file, function, line, "Invalid equation " + quoted(equation) + ": " + message),
      m_equation(equation), m_message(message)
{
}

cInvalidMathematicalFunctionParameter::cInvalidMathematicalFunctionParameter(char const* file,
                                                                             char const* function, int line,
                                                                             std::string const& functionName,
                                                                             std::string const& message)
    : cKynException(file, function, line,
                    "Invalid operands of function " + quoted(functionName) + ": " + message),
      m_functionName(functionName), m_message(message)
{
}

cKynThreeTextException::cKynThreeTextException(char const* file, char const* function, int line,
                                               std::string message, std::string const& first,
                                               std::string const& second, std::string const& third)
    : cKynException(file, function, line, std::move(message)), m_first(first), m_second(second),
      m_third(third)
{
}

cInvalidEquationGroup::cInvalidEquationGroup(char const* file, char const* function, int line,
                                             std::string const& group, std::string const& step,
                                             std::string const& message)
    : cKynThreeTextException(file, function, line,
                             "Invalid equation group " + quoted(group) +
                                 (step.empty() ? std::string() : ", step " + quoted(step)) + ": " + message,
                             group, step, message)
{
}

cInvalidSymbolDefinition::cInvalidSymbolDefinition(char const* file, char const* function, int line,
                                                   std::string const& name, std::string const& definition,
                                                   std::string const& message)
    : cKynThreeTextException(file, function, line,
                             "Invalid definition of " + quoted(name) + " (" + quoted(definition) +
                                 "): " + message,
                             name, definition, message)
{
}

namespace
{
std::string parameterText(std::string const& name, std::string const& path)
{
    return "parameter " + quoted(name) + (path.empty() ? std::string() : " (" + path + ")");
}
} // namespace

cMissingDefaultValueException::cMissingDefaultValueException(char const* file, char const* function, int line,
                                                             std::string const& name, std::string const& path,
                                                             std::string const& text)
    : cKynThreeTextException(file, function, line,
                             "Missing \"Default\" of " + parameterText(name, path) + ".\n" + text, name, path,
                             text)
{
}

cMissingEepromData::cMissingEepromData(char const* file, char const* function, int line,
                                       std::string const& name, std::string const& key,
                                       std::string const& text)
    : cKynThreeTextException(file, function, line,
                             "Missing or invalid EEPROM data " + quoted(key) + " of parameter " +
                                 quoted(name) + ".\n" + text,
                             name, key, text)
{
}

namespace
{
// "Missing " kind " \"item\".\n" text; a kind that already ends in a blank is not given another.
std::string missingItemText(std::string const& item, std::string const& kind, std::string const& text)
{
    std::string result = "Missing " + kind;
    if (!kind.empty() && kind.back() != ' ')
    {
        result += ' ';
    }
    return result + quoted(item) + ".\n" + text;
}
} // namespace

cMissingItem::cMissingItem(char const* file, char const* function, int line, std::string const& item,
                           std::string const& kind, std::string const& text)
    : cKynThreeTextException(file, function, line, missingItemText(item, kind, text), item, kind, text)
{
}

cMissingNoDeploymentValueException::cMissingNoDeploymentValueException(char const* file, char const* function,
                                                                       int line, std::string const& name,
                                                                       std::string const& path,
                                                                       std::string const& text)
    : cKynThreeTextException(file, function, line,
                             "Missing \"No Deployment Value\" of " + parameterText(name, path) + ".\n" + text,
                             name, path, text)
{
}

cInvalidVariableRedefinition::cInvalidVariableRedefinition(char const* file, char const* function, int line,
                                                           std::string const& name, int links)
    : cKynException(file, function, line,
                    "The variable " + quoted(name) + " cannot be bound to another parameter: it has " +
                        std::to_string(links) + " holders."),
      m_name(name), m_links(links)
{
}

cBadStepException::cBadStepException(char const* file, char const* function, int line, mpf_class const& step)
    : cKynException(file, function, line, "Invalid step " + numberToText(step) + ": a step must be above 0."),
      m_step(step)
{
}

cInvalidConversionFactorException::cInvalidConversionFactorException(char const* file, char const* function,
                                                                     int line, mpf_class const& factor,
                                                                     std::string const& text)
    : cKynException(file, function, line, "Invalid conversion factor " + numberToText(factor) + ".\n" + text),
      m_factor(factor)
{
}

cMinMaxException::cMinMaxException(char const* file, char const* function, int line, std::string const& name,
                                   mpf_class const& minimum, mpf_class const& maximum,
                                   std::string const& text)
    : cKynException(file, function, line,
                    "The maximum of " + quoted(name) + " is below its minimum (minimum " +
                        numberToText(minimum) + ", maximum " + numberToText(maximum) + ").\n" + text),
      m_name(name), m_minimum(minimum), m_maximum(maximum)
{
}

cUnknownDistributionTypeException::cUnknownDistributionTypeException(char const* file, char const* function,
                                                                     int line, unsigned char distribution)
    : cKynException(file, function, line,
                    "Unknown distribution type " + std::to_string(static_cast<unsigned>(distribution)) + "."),
      m_distribution(distribution)
{
}
