#pragma once

#include <string>

namespace WEKU {

/// Gives the open file `to` the owner, the group, the access list, the permission bits and the
/// extended attributes of the open file `from`, as far as the system allows. Nobody but its owner
/// can read `to` who could not read `from`: what a group may that is not the one of `from` is
/// narrowed to what all others may, and the set-user and set-group bits stay only with owner and
/// group. Names what could not be carried, empty when all was.
std::string carryAttributes(int from, int to);

}  // namespace WEKU
