// Common root of everything that can be kept in a configuration file: a group of keyed items
// (cObjectToStoreInfo, cConfigurationGroup) or anything else that a store wants to hold through
// one polymorphic pointer. It has no behaviour of its own, only the virtual destructor.
#pragma once

class cObjectToStore
{
public:
    cObjectToStore() = default;
    cObjectToStore(cObjectToStore const&) = default;
    cObjectToStore& operator=(cObjectToStore const&) = default;
    cObjectToStore(cObjectToStore&&) = default;
    cObjectToStore& operator=(cObjectToStore&&) = default;
    virtual ~cObjectToStore() = default;
};
