// Inside the storage floor: the catalogue held against the databases' files when it is opened.
#pragma once

namespace vorne {

/// Puts right a used size that ends before entries whose databases have files; a catalogue that names no file at all
/// comes back from its backup, as far as that names some. Told in the log.
void VerifyCatalogEntries();

}  // namespace vorne
