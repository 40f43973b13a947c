// The failure family of the whole system. Every failure is thrown by value as one of these
// classes and caught as cKynException&; each carries the source file, the function and the line
// where it was raised, and a text that handlers extend on the way up ("\nFile: ...", "Line: n\n")
// before doException shows it.
#pragma once

#include <exception>
#include <gmpxx.h>
#include <string>

class cKynException : public std::exception
{
public:
    cKynException();
    cKynException(cKynException const& other);
    cKynException& operator=(cKynException const& other);
    ~cKynException() override;

    // Gives a plain cKynException its origin and text before it is thrown.
    void setStr(char const* file, char const* function, int line, std::string const& text);

    // Adds text to the message of a caught exception, on its way up to the reporting point.
    virtual void appendText(std::string const& text);
    // The two additions that loaders make: "\nFile: " path, and "Line: " n "\n".
    void addFileName(std::string const& path);
    void addLineNumber(int line);

    // The full text: the message of the class with everything appended since.
    char const* what() const noexcept override;
    std::string const& getText() const { return m_text; }
    std::string const& getSourceFile() const { return m_sourceFile; }
    std::string const& getFunction() const { return m_function; }
    int getLine() const { return m_line; }
    // "source, function, line n": where the failure was raised, for reports and traces.
    std::string getLocation() const;
    virtual char const* getClassName() const { return "cKynException"; }

protected:
    cKynException(char const* file, char const* function, int line, std::string text);

private:
    std::string m_sourceFile;
    std::string m_function;
    int m_line = 0;
    std::string m_text;
};

// Declares a member of the family whose constructor takes nothing beyond the origin.
#define KYN_DECLARE_PLAIN_EXCEPTION(Name)                                                                    \
    class Name : public cKynException                                                                        \
    {                                                                                                        \
    public:                                                                                                  \
        Name(char const* file, char const* function, int line);                                              \
        char const* getClassName() const override { return #Name; }                                          \
    };

KYN_DECLARE_PLAIN_EXCEPTION(cBadChannelReference)
KYN_DECLARE_PLAIN_EXCEPTION(cBadGraphObjectReference)
KYN_DECLARE_PLAIN_EXCEPTION(cBadListIndex)
KYN_DECLARE_PLAIN_EXCEPTION(cBadT0SynchronizationException)
KYN_DECLARE_PLAIN_EXCEPTION(cBadTimeEventValueReference)
KYN_DECLARE_PLAIN_EXCEPTION(cFileNotWritableException)
KYN_DECLARE_PLAIN_EXCEPTION(cMessageError)
KYN_DECLARE_PLAIN_EXCEPTION(cNegativeT0Exception)
KYN_DECLARE_PLAIN_EXCEPTION(cParameterStillExistException)
KYN_DECLARE_PLAIN_EXCEPTION(cStructTTFSearchedException)
KYN_DECLARE_PLAIN_EXCEPTION(cUnknownMessageError)
KYN_DECLARE_PLAIN_EXCEPTION(cMemoryAllocationFailed)

#undef KYN_DECLARE_PLAIN_EXCEPTION

// A member of the family built with one text; getArgument() gives that text as it was passed.
class cKynTextException : public cKynException
{
public:
    std::string const& getArgument() const { return m_argument; }

protected:
    // The message is title + text; a title ending in ": " is used alone when the text is empty.
    cKynTextException(char const* file, char const* function, int line, char const* title,
                      std::string const& text);

private:
    std::string m_argument;
};

#define KYN_DECLARE_TEXT_EXCEPTION(Name, Base)                                                               \
    class Name : public Base                                                                                 \
    {                                                                                                        \
    public:                                                                                                  \
        Name(char const* file, char const* function, int line, std::string const& text);                     \
        char const* getClassName() const override { return #Name; }                                          \
                                                                                                             \
    protected:                                                                                               \
        Name(char const* file, char const* function, int line, char const* title, std::string const& text)   \
            : Base(file, function, line, title, text)                                                        \
        {                                                                                                    \
        }                                                                                                    \
    };

// Messages: title (fixed, may be empty) followed by the text; see cKynException.cpp for the titles.
KYN_DECLARE_TEXT_EXCEPTION(cBadReference, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cBatchModeCreationFailedException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cBatchModeLoadingFailedException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cErrorOccuredDuringEquationEvaluation, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cForbiddenAction, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cFstreamOpenException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cGenericException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cIncompatibleNewParameterSet, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cIncompatibleParametersException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cLoopInProcessorChainDetected, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cMissingParameterException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cNULLPointer, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cTestAlreadyRunningException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cUnknownGraphTypeException, cKynTextException)
KYN_DECLARE_TEXT_EXCEPTION(cUnknownSymbol, cKynTextException)
// Handlers for cFstreamOpenException also catch the case of a process out of file handles.
KYN_DECLARE_TEXT_EXCEPTION(cTooManyOpenFilesException, cFstreamOpenException)

#undef KYN_DECLARE_TEXT_EXCEPTION

// Equation text and what is wrong with it.
class cInvalidEquationSyntax : public cKynException
{
public:
    cInvalidEquationSyntax(char const* file, char const* function, int line, std::string const& equation,
                           std::string const& message);
    char const* getClassName() const override { return "cInvalidEquationSyntax"; }
    std::string const& getEquation() const { return m_equation; }
    std::string const& getMessage() const { return m_message; }

private:
    std::string m_equation;
    std::string m_message;
};

// Name of the mathematical function and what is wrong with its operands.
class cInvalidMathematicalFunctionParameter : public cKynException
{
public:
    cInvalidMathematicalFunctionParameter(char const* file, char const* function, int line,
                                          std::string const& functionName, std::string const& message);
    char const* getClassName() const override { return "cInvalidMathematicalFunctionParameter"; }
    std::string const& getFunctionName() const { return m_functionName; }
    std::string const& getMessage() const { return m_message; }

private:
    std::string m_functionName;
    std::string m_message;
};

// The members built with three texts keep them as first, second and third argument.
class cKynThreeTextException : public cKynException
{
public:
    std::string const& getFirst() const { return m_first; }
    std::string const& getSecond() const { return m_second; }
    std::string const& getThird() const { return m_third; }

protected:
    cKynThreeTextException(char const* file, char const* function, int line, std::string message,
                           std::string const& first, std::string const& second, std::string const& third);

private:
    std::string m_first;
    std::string m_second;
    std::string m_third;
};

// Group name, step name (may be empty) and what is wrong.
class cInvalidEquationGroup : public cKynThreeTextException
{
public:
    cInvalidEquationGroup(char const* file, char const* function, int line, std::string const& group,
                          std::string const& step, std::string const& message);
    char const* getClassName() const override { return "cInvalidEquationGroup"; }
};

// Symbol name, its definition text and what is wrong.
class cInvalidSymbolDefinition : public cKynThreeTextException
{
public:
    cInvalidSymbolDefinition(char const* file, char const* function, int line, std::string const& name,
                             std::string const& definition, std::string const& message);
    char const* getClassName() const override { return "cInvalidSymbolDefinition"; }
};

// Parameter name, its path and where the key was missed.
class cMissingDefaultValueException : public cKynThreeTextException
{
public:
    cMissingDefaultValueException(char const* file, char const* function, int line, std::string const& name,
                                  std::string const& path, std::string const& text);
    char const* getClassName() const override { return "cMissingDefaultValueException"; }
};

// Parameter name, the EEPROM key that is missing or wrong, and where.
class cMissingEepromData : public cKynThreeTextException
{
public:
    cMissingEepromData(char const* file, char const* function, int line, std::string const& name,
                       std::string const& key, std::string const& text);
    char const* getClassName() const override { return "cMissingEepromData"; }
};

// The item that is missing, its kind ("key", "channel", "criterion", ...) and what it means.
class cMissingItem : public cKynThreeTextException
{
public:
    cMissingItem(char const* file, char const* function, int line, std::string const& item,
                 std::string const& kind, std::string const& text);
    char const* getClassName() const override { return "cMissingItem"; }
};

// Parameter name, its path and where the key was missed.
class cMissingNoDeploymentValueException : public cKynThreeTextException
{
public:
    cMissingNoDeploymentValueException(char const* file, char const* function, int line,
                                       std::string const& name, std::string const& path,
                                       std::string const& text);
    char const* getClassName() const override { return "cMissingNoDeploymentValueException"; }
};

// A variable that other holders still use cannot be bound to another parameter.
class cInvalidVariableRedefinition : public cKynException
{
public:
    cInvalidVariableRedefinition(char const* file, char const* function, int line, std::string const& name,
                                 int links);
    char const* getClassName() const override { return "cInvalidVariableRedefinition"; }
    std::string const& getName() const { return m_name; }
    int getLinks() const { return m_links; }

private:
    std::string m_name;
    int m_links;
};

class cBadStepException : public cKynException
{
public:
    cBadStepException(char const* file, char const* function, int line, mpf_class const& step);
    char const* getClassName() const override { return "cBadStepException"; }
    mpf_class const& getStep() const { return m_step; }

private:
    mpf_class m_step;
};

class cInvalidConversionFactorException : public cKynException
{
public:
    cInvalidConversionFactorException(char const* file, char const* function, int line,
                                      mpf_class const& factor, std::string const& text);
    char const* getClassName() const override { return "cInvalidConversionFactorException"; }
    mpf_class const& getFactor() const { return m_factor; }

private:
    mpf_class m_factor;
};

// Parameter name, minimum, maximum and where they were read.
class cMinMaxException : public cKynException
{
public:
    cMinMaxException(char const* file, char const* function, int line, std::string const& name,
                     mpf_class const& minimum, mpf_class const& maximum, std::string const& text);
    char const* getClassName() const override { return "cMinMaxException"; }
    std::string const& getName() const { return m_name; }
    mpf_class const& getMinimum() const { return m_minimum; }
    mpf_class const& getMaximum() const { return m_maximum; }

private:
    std::string m_name;
    mpf_class m_minimum;
    mpf_class m_maximum;
};

class cUnknownDistributionTypeException : public cKynException
{
public:
    cUnknownDistributionTypeException(char const* file, char const* function, int line,
                                      unsigned char distribution);
    char const* getClassName() const override { return "cUnknownDistributionTypeException"; }
    unsigned char getDistribution() const { return m_distribution; }

private:
    unsigned char m_distribution;
};
