#pragma once

#include <functional>

namespace zelto {

// A reply handler: called at most once, from any thread. Dropping it uncalled is silent and answers
// nothing; whoever needs an answer in every case holds a watch of its own.
template <typename... Arguments>
using Completion = std::move_only_function<void(Arguments...)>;

}  // namespace zelto
