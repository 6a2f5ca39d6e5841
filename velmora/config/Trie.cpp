// SPDX-License-Identifier: BSD-2-Clause

#include "velmora/config/Trie.h"

#include "velmora/application/Assertion.h"
#include "velmora/logging/Logger.h"

namespace Velmora
{

bool TrieNoT::assertChild(const void* in_pChild, const char* in_szCondition)
{
    if (in_pChild != nullptr) [[likely]]
        return true;
    Assertion(false, in_szCondition, Logger("keswardin.infra.Trie"), __FILE__, __LINE__);
    return false;
}

// The tries of this library are compiled here once; other files only declare them `extern`.
template class Trie<std::string, ParameterValue, LMHashFcn<std::string>>;
template class Trie<char, ParameterValue, LMHashFcn<char>>;

} // namespace Velmora
