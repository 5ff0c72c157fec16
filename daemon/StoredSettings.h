#pragma once

#include "daemon/Answer.h"
#include "host/BaseObject.h"
#include "support/IniFile.h"

namespace ky {

/// The answer of a command that stores settings. The library's operations do their work and give
/// their result even where nothing can be stored; whoever asked is told that the next start will
/// not know of it. `act` gives the answer that holds otherwise; it runs on the thread of `owner`.
template <typename Act>
Answer storing(BaseObject& owner, Act act)
{
    owner.setLastError({});
    const Answer answer = act();
    return answer.isOk() && isNotStored(owner.getLastError())
               ? Answer::error(kSettingsNotStored, owner.getLastError())
               : answer;
}

} // namespace ky
