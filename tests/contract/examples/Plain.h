#pragma once

/// Text alone.
void plain();
