#pragma once

class ShortcutRegistry;

/// Registers the application's commands and then those of the track editor.
/// Their names and descriptions are in the language of the moment.
void fillShortcutRegistry(ShortcutRegistry& registry);
