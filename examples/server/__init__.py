"""A server over the store: routes by subject, a page, and what runs beside them."""
