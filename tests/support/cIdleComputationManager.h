// A computation manager that handles no message: tests and benchmarks drive the stages and the
// results directly, and only need an active manager for the run state and the drift combinations.
#pragma once

#include "SimCore/cComputationManager.h"

class cIdleComputationManager : public cComputationManager
{
public:
    bool ProcessMessage(unsigned int message, cMessage* data) override
    {
        delete data;
        return message == QUIT_MSG;
    }
};
