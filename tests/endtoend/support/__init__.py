"""What the end-to-end tests and the tour share: a private screen, a private
sound server, an assistive-technology client, and the editor as a person uses it."""
