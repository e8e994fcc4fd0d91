#pragma once

/// Registers the compiled-in icons (":/vector/…", ":/icons/…") with the toolkit.
///
/// The tree also registers itself by a static initialiser; the call makes sure that
/// the linker keeps that initialiser when it comes out of a static library, and that
/// the icons are there for code that runs before it. Calling it again is harmless.
/// Any thread; does not block; cannot fail.
void registerResources();
