// Builds one parameter through the library and prints its converted value. The unused variable is
// deliberate: it must stay a warning here, since SimCore keeps -Werror to its own targets.
#include "SimCore/cParameter.h"
#include "SimCore/cSymbolManager.h"
#include "StoreKit/cConfigurationGroup.h"

#include <iostream>

int main()
{
    int unused = 0;
    cSymbolManager symbols;
    myActiveSymbolManager = &symbols;
    symbols.setConfiguration("");

    cConfigurationGroup group("Parameter");
    group.addInformation("Name", std::string("Threshold"));
    group.addInformation("Conversion Factor", std::string("0.5"));
    group.addInformation("Raw Value", std::string("40"));
    cParameter* parameter = new cParameter(&group, "Consumer");
    parameter->createLink();

    std::string value;
    parameter->getConvertedValue(value);
    std::cout << "Threshold = " << value << '\n';

    cParameter::deleteInstance(parameter);
    myActiveSymbolManager = nullptr;
    return 0;
}
