#pragma once

/// The user that a thread acts for.
namespace Tovra::Component {

/// @return 0 on a thread that never set one
int currentUser();

/// @return false when the system has no slot for it
bool setCurrentUser(int id);

}  // namespace Tovra::Component
