package kora.data.distributed.internal;

import kora.data.distributed.common.KvStoreErrorCode;
import kora.data.distributed.common.KvStoreException;

/** Checks of arguments, so that nothing unusable reaches native code. */
public final class Arguments {
  private static final int MAX_IDENTIFIER_LENGTH = 128;

  private Arguments() {}

  public static <T> T notNull(T argument, String name) {
    if (argument == null) {
      throw invalid("The " + name + " is null.");
    }
    return argument;
  }

  /** Names of applications and stores become folders; so only a few characters are allowed in them. */
  public static String identifier(String identifier, String name) {
    notNull(identifier, name);
    boolean allowed = !identifier.isEmpty() && identifier.length() <= MAX_IDENTIFIER_LENGTH
        && identifier.charAt(0) != '.' && identifier.chars().allMatch(Arguments::isIdentifierCharacter);
    if (!allowed) {
      throw invalid("The " + name + " must be 1 to " + MAX_IDENTIFIER_LENGTH
          + " characters of A-Z a-z 0-9 . _ - and not begin with a dot: '" + identifier + "'.");
    }
    return identifier;
  }

  /** A text that native code would skip when it is empty. */
  public static String text(String text, String name) {
    if (notNull(text, name).isEmpty()) {
      throw invalid("The " + name + " is empty.");
    }
    return text;
  }

  public static KvStoreException invalid(String text) {
    return new KvStoreException(KvStoreErrorCode.INVALID_ARGUMENT, text);
  }

  private static boolean isIdentifierCharacter(int c) {
    return c >= 'a' && c <= 'z' || c >= 'A' && c <= 'Z' || c >= '0' && c <= '9'
        || c == '.' || c == '_' || c == '-';
  }
}
