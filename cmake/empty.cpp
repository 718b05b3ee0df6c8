// Keeps every library non-empty while its folder fills up.
