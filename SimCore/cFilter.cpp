#include "SimCore/cFilter.h"

#include "BaseKit/UserMessages.h"
#include "BaseKit/cKynException.h"
#include "StoreKit/cCfgInputFile.h"
#include "StoreKit/cConfigurationGroup.h"

#include <complex>

namespace
{
char const* const kSource = "SimCore/cFilter";

// Reads the root group of an opened filter file (nothing when none is open); a failure names the file.
template <class F> void readOpenedFile(cCfgInputFile* file, std::string const& fileName, F read)
{
    if (file == nullptr)
        return;
    try
    {
        read(file->getTopGroup());
    }
    catch (cKynException& failure)
    {
        failure.addFileName(fileName);
        throw;
    }
}
} // namespace

std::string cKynFilter::getFileFilter(unsigned char)
{
    return "Filter Files (*.flt)|*.flt|All Files (*.*)|*.*||";
}

std::string cKynFilter::getDefaultExtension(unsigned char)
{
    return "flt";
}

std::string cKynDFilter::getFileFilter(unsigned char)
{
    return "Digital Filter Files (*.dft)|*.dft|All Files (*.*)|*.*||";
}

std::string cKynDFilter::getDefaultExtension(unsigned char)
{
    return "dft";
}

template <class T>
cKynPoleFilter<T>::cKynPoleFilter(std::string name, std::string const& fileName) : T(name, T::kTypeName)
{
    setConfiguration(fileName);
}

template <class T> void cKynPoleFilter<T>::setConfiguration(std::string const& fileName)
{
    cFileConfigured::setConfiguration(fileName);
    readOpenedFile(getConfigurationFile(), fileName,
                   [&](cConfigurationGroup* root)
                   {
                       root->findItem("", "Name", this->m_filterName, true);
                       root->findItem("", "Direct Transfer", this->m_directTransfer, true);
                       root->findItem("", "Gain", this->m_gain, true);
                       readPoleFromConfigurationFile(root);
                   });
}

template <class T> void cKynPoleFilter<T>::readPoleFromConfigurationFile(cConfigurationGroup* root)
{
    this->clearPoles();
    for (cConfigurationGroup* group : root->GetConfigurationGroups())
    {
        if (group->getName() == "Real Pole")
        {
            float pole = 0.0f;
            float residue = 0.0f;
            group->findItem("", "Pole", pole, true);
            group->findItem("", "Residue", residue, true);
            this->addRealPole({double(pole), double(residue)});
        }
        else if (group->getName() == "Complex Pole")
        {
            float poleReal = 0.0f, poleImaginary = 0.0f, residueReal = 0.0f, residueImaginary = 0.0f;
            group->findItem("", "PoleRealPart", poleReal, true);
            group->findItem("", "PoleImaginaryPart", poleImaginary, true);
            group->findItem("", "ResidueRealPart", residueReal, true);
            group->findItem("", "ResidueImaginaryPart", residueImaginary, true);
            this->addComplexPole({std::complex<double>(poleReal, poleImaginary),
                                  std::complex<double>(residueReal, residueImaginary)});
        }
    }
}

template <class T>
cKynDigitalFilter<T>::cKynDigitalFilter(std::string name, std::string const& fileName) : T(name, T::kTypeName)
{
    setConfiguration(fileName);
}

template <class T> void cKynDigitalFilter<T>::setConfiguration(std::string const& fileName)
{
    cFileConfigured::setConfiguration(fileName);
    readOpenedFile(getConfigurationFile(), fileName,
                   [&](cConfigurationGroup* root)
                   {
                       root->findItem("", "Name", this->m_filterName, true);
                       root->findItem("", "Blocks Processing Mode", this->m_blocksProcessingMode, true);
                       root->findItem("", "Min Sampling Rate", this->m_minSamplingRate, true);
                       root->findItem("", "Max Sampling Rate", this->m_maxSamplingRate, true);
                       readBlocksDataFromConfigurationFile(root);
                   });
}

template <class T> void cKynDigitalFilter<T>::readBlocksDataFromConfigurationFile(cConfigurationGroup* root)
{
    this->ClearData();
    for (cConfigurationGroup* group : root->GetConfigurationGroups())
    {
        if (group->getName() != "Block")
            continue;
        std::string method;
        std::string type;
        group->findItem("", "Computation Method", method, true);
        group->findItem("", "Filter Type", type, true);
        unsigned int used = 2;
        auto const readList = [&](std::string const& letter)
        {
            cStorage<double> list(10);
            mpf_class value;
            for (unsigned int k = 0;
                 group->findItem("", std::string(letter).append(std::to_string(k)), value, false) != 0; ++k)
            {
                list.add(value.get_d());
                ++used;
            }
            return list;
        };
        cStorage<double> a = readList("A");
        cStorage<double> b = readList("B");
        if (used < group->nbOfInformation())
        {
            doErrorMessage(
                "Error when reading filter file: all information were not read.\nPlease check that "
                "there is no 'hole' or no multiple declaration in coefficients data.");
            throw cIncompatibleParametersException(kSource,
                                                   "cKynDigitalFilter::readBlocksDataFromConfigurationFile",
                                                   __LINE__, group->getName());
        }
        this->AddNewBlock(a, b, method, type);
    }
    this->CheckFilterData();
}

template class cKynPoleFilter<cPoleFilter>;
template class cKynPoleFilter<cStabilizedPoleFilter>;
template class cKynPoleFilter<cAutoStabilizedPoleFilter>;
template class cKynDigitalFilter<CDigitalFilter>;
