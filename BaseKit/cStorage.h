// cStorage<T>: the growable array behind every list and signal of the system. It holds plain
// values or pointers, grows by a fixed step to keep sample-by-sample appending cheap, and never
// owns what its pointers point to: the owning class deletes the elements and then empties the list.
// Failures name the element type in full ("cStorage<class cChannel *>::add"), see cStorageTypeName.
#pragma once

#include "BaseKit/cKynException.h"
#include "BaseKit/cStorageAllocator.h"

#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <limits>
#include <string>
#include <type_traits>
#include <typeinfo>

template <class T> class cStorage;
template <class T> class cSignalStorage;

// The spelling of an element type in the function texts of cStorage failures. Hosts and logs
// compare these texts, so they keep the traditional compiler spelling: "unsigned __int64",
// "class cChannel *", "struct sMergedItem *".
//
// Types without a spelling of their own are spelled from their compiled name: a class
// whose name is "s" followed by a capital letter (the naming rule for plain structures) as
// "struct sName", an enumeration as "enum EName", any other class as "class cName"; a pointer adds
// " *". A class spelled otherwise gets its own cStorageTypeName beside its declaration, seen
// before any list of it is used:
//
//     template <> struct cStorageTypeName<InformationItem>
//     {
//         static std::string get() { return "struct InformationItem"; }
//     };
template <class T> struct cStorageTypeName
{
    static std::string get();
};

namespace cStorageDetail
{
// The demangled name of a type, or its raw name if demangling fails.
inline std::string demangle(std::type_info const& info)
{
    int status = 0;
    char* text = abi::__cxa_demangle(info.name(), nullptr, nullptr, &status);
    std::string result = (status == 0 && text != nullptr) ? std::string(text) : std::string(info.name());
    std::free(text);
    return result;
}

// "struct " for names of the form sName, else "class ".
inline std::string classKeyword(std::string const& name)
{
    std::string base = name.substr(0, name.find('<'));
    std::size_t const scope = base.rfind("::");
    if (scope != std::string::npos)
        base = base.substr(scope + 2);
    bool const isStructure = base.size() >= 2 && base[0] == 's' && base[1] >= 'A' && base[1] <= 'Z';
    return isStructure ? "struct " : "class ";
}
} // namespace cStorageDetail

template <class T> std::string cStorageTypeName<T>::get()
{
    // typeid of a pointer works for incomplete classes too: lists of pointers are declared long
    // before their element classes are complete.
    std::string name = cStorageDetail::demangle(typeid(T*));
    if (!name.empty() && name.back() == '*')
        name.pop_back();
    if constexpr (std::is_enum_v<T>)
        return "enum " + name;
    else if constexpr (std::is_union_v<T>)
        return "union " + name;
    else if constexpr (std::is_class_v<T>)
        return cStorageDetail::classKeyword(name) + name;
    else
        return name;
}

template <class T> struct cStorageTypeName<T*>
{
    static std::string get() { return cStorageTypeName<T>::get() + " *"; }
};

template <class T> struct cStorageTypeName<T const>
{
    static std::string get() { return "const " + cStorageTypeName<T>::get(); }
};

template <class T> struct cStorageTypeName<cStorage<T>>
{
    static std::string get() { return "class cStorage<" + cStorageTypeName<T>::get() + ">"; }
};

template <class T> struct cStorageTypeName<cSignalStorage<T>>
{
    static std::string get() { return "class cSignalStorage<" + cStorageTypeName<T>::get() + ">"; }
};

template <> struct cStorageTypeName<std::string>
{
    static std::string get()
    {
        return "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >";
    }
};

#define KYN_STORAGE_TYPE_NAME(Type, Text)                                                                    \
    template <> struct cStorageTypeName<Type>                                                                \
    {                                                                                                        \
        static std::string get() { return Text; }                                                            \
    };

KYN_STORAGE_TYPE_NAME(bool, "bool")
KYN_STORAGE_TYPE_NAME(char, "char")
KYN_STORAGE_TYPE_NAME(signed char, "signed char")
KYN_STORAGE_TYPE_NAME(unsigned char, "unsigned char")
KYN_STORAGE_TYPE_NAME(short, "short")
KYN_STORAGE_TYPE_NAME(unsigned short, "unsigned short")
KYN_STORAGE_TYPE_NAME(int, "int")
KYN_STORAGE_TYPE_NAME(unsigned int, "unsigned int")
KYN_STORAGE_TYPE_NAME(long, "long")
KYN_STORAGE_TYPE_NAME(unsigned long, "unsigned long")
KYN_STORAGE_TYPE_NAME(long long, "__int64")
KYN_STORAGE_TYPE_NAME(unsigned long long, "unsigned __int64")
KYN_STORAGE_TYPE_NAME(float, "float")
KYN_STORAGE_TYPE_NAME(double, "double")
KYN_STORAGE_TYPE_NAME(long double, "long double")
KYN_STORAGE_TYPE_NAME(void, "void")

#undef KYN_STORAGE_TYPE_NAME

template <class T> class cStorage
{
    static_assert(std::is_trivially_copyable_v<T>, "cStorage copies its elements with memcpy");

public:
    static constexpr unsigned int kDefaultGrowthStep = 2000;

    cStorage() : cStorage(kDefaultGrowthStep) {}
    explicit cStorage(unsigned int growthStep) : m_growthStep(growthStep) {}
    cStorage(cStorage const& other);
    cStorage& operator=(cStorage const& other);
    virtual ~cStorage() { cStorageAllocator::release(m_data); }

    // Appends value. Grows by the growth step, or by one element when that much memory is not
    // available; throws cMemoryAllocationFailed, leaving the list as it was, when neither is.
    void add(T value);
    // Makes room for at least capacity elements in one step, so that a loop that knows its count
    // appends without growing; a smaller capacity changes nothing. cMemoryAllocationFailed, with
    // the list as it was, when the memory is not there.
    void reserve(unsigned int capacity);
    // Appends count elements in one step and gives the first of them, for a loop that knows its
    // count to write through a plain pointer: a loop the compiler can vectorise, where add's
    // capacity check and count update per element keep it from doing so. The new elements hold
    // whatever the memory held: the caller writes every one of them before reading. A short capacity
    // grows to exactly the new count, as reserve does. cMemoryAllocationFailed, with the list as it
    // was, when the memory is not there or the count would pass the 32-bit range. The pointer is
    // valid until the list next grows.
    T* addUninitialised(unsigned int count);
    // Appends count copies of value in one step; grows and fails as addUninitialised.
    void addCopies(unsigned int count, T value);

    T& operator[](unsigned int index) { return m_data[index]; }
    T const& operator[](unsigned int index) const { return m_data[index]; }
    // As operator[], but an index not below size() throws cBadListIndex.
    T& at(unsigned int index);
    T const& at(unsigned int index) const;

    unsigned int size() const { return m_count; }
    bool empty() const { return m_count == 0; }
    // Forgets the elements and keeps the memory for the next ones.
    void clear() { m_count = 0; }
    // Forgets the elements and gives the memory back: count and capacity become 0.
    void freeMemory()
    {
        cStorageAllocator::release(m_data);
        m_data = nullptr;
        m_capacity = 0;
        m_count = 0;
    }
    // Removes one element; the later ones move down by one. An index not below size() throws
    // cBadListIndex.
    void remove(unsigned int index);

    // Walk: first gives element 0, next the element after cursor; both set cursor to the index of
    // what they give, and give T{} (null for lists of pointers) with cursor == size() behind the
    // last element.
    T first(unsigned int& cursor) const;
    T next(unsigned int& cursor) const;

    unsigned int getGrowthStep() const { return m_growthStep; }
    void setGrowthStep(unsigned int growthStep) { m_growthStep = growthStep; }
    unsigned int getCapacity() const { return m_capacity; }
    unsigned int getElementSize() const { return m_elementSize; }
    T* data() { return m_data; }
    T const* data() const { return m_data; }

private:
    // "cStorage<element type>::operation", the function text of this class's failures.
    static std::string functionText(char const* operation)
    {
        return "cStorage<" + cStorageTypeName<T>::get() + ">::" + operation;
    }
    // A fresh block holding exactly the elements of other (null when it has none); throws
    // cMemoryAllocationFailed naming `operation` when malloc fails.
    static T* allocateCopy(cStorage const& other, char const* operation, int line);
    // Room for count more elements behind the present ones, grown to exactly what is needed;
    // cMemoryAllocationFailed naming `operation`, with the list as it was, when it cannot be had.
    void makeRoom(unsigned int count, char const* operation);

    T* m_data = nullptr;
    unsigned int m_growthStep;
    unsigned int m_capacity = 0;
    unsigned int m_count = 0;
    unsigned int m_elementSize = sizeof(T);
};

template <class T>
cStorage<T>::cStorage(cStorage const& other)
    : m_data(allocateCopy(other, "cStorage", __LINE__)), m_growthStep(other.m_growthStep),
      m_capacity(other.m_count), m_count(other.m_count)
{
}

template <class T> cStorage<T>& cStorage<T>::operator=(cStorage const& other)
{
    if (this == &other)
        return *this;
    if (m_data != nullptr && m_capacity >= other.m_count)
    {
        // Large enough: reuse the memory and keep its capacity.
        if (other.m_count > 0)
            std::memcpy(m_data, other.m_data, std::size_t(other.m_count) * m_elementSize);
        m_growthStep = other.m_growthStep;
        m_count = other.m_count;
        return *this;
    }
    // Too small or none: exactly count elements. The new block is taken before the old one goes,
    // so a failed assignment leaves the target as it was.
    T* const data = allocateCopy(other, "operator =", __LINE__);
    cStorageAllocator::release(m_data);
    m_data = data;
    m_growthStep = other.m_growthStep;
    m_capacity = other.m_count;
    m_count = other.m_count;
    return *this;
}

template <class T> T* cStorage<T>::allocateCopy(cStorage const& other, char const* operation, int line)
{
    // An empty source allocates nothing: the copy grows to the growth step at its first add.
    if (other.m_count == 0)
        return nullptr;
    std::size_t const bytes = std::size_t(other.m_count) * sizeof(T);
    T* const data = static_cast<T*>(cStorageAllocator::allocate(bytes));
    if (data == nullptr)
        throw cMemoryAllocationFailed("BaseKit/cStorage", functionText(operation).c_str(), line);
    std::memcpy(static_cast<void*>(data), other.m_data, bytes);
    return data;
}

template <class T> void cStorage<T>::reserve(unsigned int capacity)
{
    if (capacity <= m_capacity)
        return;
    void* const grown = cStorageAllocator::reallocate(m_data, std::size_t(capacity) * m_elementSize);
    if (grown == nullptr)
        throw cMemoryAllocationFailed("BaseKit/cStorage", functionText("reserve").c_str(), __LINE__);
    m_data = static_cast<T*>(grown);
    m_capacity = capacity;
}

template <class T> void cStorage<T>::makeRoom(unsigned int count, char const* operation)
{
    if (count <= m_capacity - m_count)
        return;
    void* grown = nullptr;
    if (count <= std::numeric_limits<unsigned int>::max() - m_count)
        grown = cStorageAllocator::reallocate(m_data, (std::size_t(m_count) + count) * m_elementSize);
    if (grown == nullptr)
        throw cMemoryAllocationFailed("BaseKit/cStorage", functionText(operation).c_str(), __LINE__);
    m_data = static_cast<T*>(grown);
    m_capacity = m_count + count;
}

template <class T> T* cStorage<T>::addUninitialised(unsigned int count)
{
    makeRoom(count, "addUninitialised");
    // Null (plus 0) only for 0 elements on a list that has no memory yet.
    T* const first = m_data + m_count;
    m_count += count;
    return first;
}

template <class T> void cStorage<T>::addCopies(unsigned int count, T value)
{
    makeRoom(count, "addCopies");
    T* const first = m_data + m_count;
    for (unsigned int i = 0; i < count; ++i)
        std::memcpy(static_cast<void*>(first + i), &value, sizeof(T));
    m_count += count;
}

template <class T> void cStorage<T>::add(T value)
{
    if (m_count >= m_capacity)
    {
        unsigned int const step = m_capacity < m_growthStep ? m_growthStep : m_capacity + m_growthStep;
        // A growth step of 0, or a capacity at the end of the 32-bit range, leaves only the
        // one-element fall-back.
        void* grown = nullptr;
        if (step > m_capacity)
            grown = cStorageAllocator::reallocate(m_data, std::size_t(step) * m_elementSize);
        if (grown != nullptr)
        {
            m_data = static_cast<T*>(grown);
            m_capacity = step;
        }
        else
        {
            // The fall-back of one element keeps a nearly full address space working.
            if (m_capacity + 1 != 0)
                grown = cStorageAllocator::reallocate(m_data, (std::size_t(m_capacity) + 1) * m_elementSize);
            if (grown == nullptr)
                throw cMemoryAllocationFailed("BaseKit/cStorage", functionText("add").c_str(), __LINE__);
            m_data = static_cast<T*>(grown);
            m_capacity += 1;
        }
    }
    std::memcpy(static_cast<void*>(m_data + m_count), &value, sizeof(T));
    ++m_count;
}

template <class T> T& cStorage<T>::at(unsigned int index)
{
    if (index >= m_count)
        throw cBadListIndex("BaseKit/cStorage", functionText("at").c_str(), __LINE__);
    return m_data[index];
}

template <class T> T const& cStorage<T>::at(unsigned int index) const
{
    if (index >= m_count)
        throw cBadListIndex("BaseKit/cStorage", functionText("at").c_str(), __LINE__);
    return m_data[index];
}

template <class T> void cStorage<T>::remove(unsigned int index)
{
    if (index >= m_count)
        throw cBadListIndex("BaseKit/cStorage", functionText("remove").c_str(), __LINE__);
    std::memmove(static_cast<void*>(m_data + index), m_data + index + 1,
                 std::size_t(m_count - index - 1) * m_elementSize);
    --m_count;
}

template <class T> T cStorage<T>::first(unsigned int& cursor) const
{
    cursor = 0;
    return m_count > 0 ? m_data[0] : T{};
}

template <class T> T cStorage<T>::next(unsigned int& cursor) const
{
    if (cursor < m_count)
        ++cursor;
    else
        cursor = m_count;
    return cursor < m_count ? m_data[cursor] : T{};
}
