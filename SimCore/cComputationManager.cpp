#include "SimCore/cComputationManager.h"

#include <string>

cComputationManager* myActiveComputationManager = nullptr;

cComputationManager::cComputationManager()
    : cKynThread("Test", QUIT_MSG, END_OF_TEST_MSG), m_logger("Computations")
{
}

cComputationManager::~cComputationManager() = default;

void cComputationManager::setComputationsState(EComputationsState state)
{
    KYN_TRACE(m_logger, 4,
              "--- setComputationsState (see EComputationsState): from " + std::to_string(m_state) + " to " +
                  std::to_string(static_cast<uint32_t>(state)));
    m_state = state;
}
