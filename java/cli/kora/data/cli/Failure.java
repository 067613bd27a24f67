package kora.data.cli;

/** A command could not do its work; the message is the one line that the user sees. */
final class Failure extends RuntimeException {
  private static final long serialVersionUID = 1L;

  Failure(String message) {
    super(message);
  }
}
