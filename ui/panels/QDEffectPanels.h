#pragma once
// Registers every panel maker with the logic's factories, by type key. Called once at start-up by
// the program and by widget tests; a type key without its own maker gets the panel built from its
// property table.

void QDRegisterEffectPanels();
