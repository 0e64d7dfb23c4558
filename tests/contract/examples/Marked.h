#pragma once

/// @code
/// marked();
/// @endcode
void marked();
