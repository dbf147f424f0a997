#pragma once

namespace zelto {

// Gives an open file what an earlier file stood for: owner, group, permission bits, extended attributes (with
// them access control lists), as far as this user may. The earlier one may be opened for looking only
// (O_PATH).
void adoptAttributes(int earlier, int file);
// What a file gets that is made in the folder: the usual permission bits, and the folder's group where the
// folder hands it down.
void giveNewFileAttributes(int folder, int file);
// Whether files made in the folder get more than that (a default access control list).
bool handsDownAccessList(int folder);
bool hasExtendedAttributes(int file);

}  // namespace zelto
