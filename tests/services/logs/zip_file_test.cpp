// Packing.
