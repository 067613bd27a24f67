package kora.data.distributed.common;

import kora.data.distributed.internal.Results;

/** The one exception of this library: says by a code why an operation failed. */
public class KvStoreException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /** Why the operation failed. */
  private final KvStoreErrorCode errorCode;

  /**
   * Makes an exception.
   *
   * @param errorCode why the operation failed
   * @param message what happened; when null or empty, the description of the code stands in for it
   */
  public KvStoreException(KvStoreErrorCode errorCode, String message) {
    super(message == null || message.isEmpty() ? errorCode.getDescription() : message);
    this.errorCode = errorCode;
    if (errorCode != KvStoreErrorCode.KEY_NOT_FOUND && Results.isFinding()) {
      fillInStackTrace();
    }
  }

  /** Puts off, until the code is known, what takes longest when a key is looked for that is absent. */
  @Override
  public synchronized Throwable fillInStackTrace() {
    return errorCode == null && Results.isFinding() ? this : super.fillInStackTrace();
  }

  /**
   * Why the operation failed.
   *
   * @return the code, never null
   */
  public KvStoreErrorCode getErrorCode() {
    return errorCode;
  }

  @Override
  public String toString() {
    return getClass().getName() + ": " + errorCode + ": " + getMessage();
  }
}
