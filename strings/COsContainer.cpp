// COsContainer: a vector of owned byte strings, cleared and deep-copied.
#include "strings/COsContainer.h"

#include "strings/COsString.h"

void COsContainer::Clear(std::vector<char*>* strings)
{
    if (strings == nullptr)
        return;
    for (char* text : *strings)
        delete[] text;
    strings->clear();
}

void COsContainer::Copy(std::vector<char*> source, std::vector<char*>* target)
{
    if (target == nullptr)
        return;
    Clear(target);
    target->reserve(source.size());
    for (const char* text : source) {
        if (text == nullptr)
            continue;
        char* duplicate = nullptr;
        COsString::Copy(text, &duplicate);
        target->push_back(duplicate);
    }
}
