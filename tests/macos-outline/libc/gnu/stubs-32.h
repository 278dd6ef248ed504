// Debian's C library looks for the list of what it lacks on a processor that it does not know. Nothing is
// lacking.
