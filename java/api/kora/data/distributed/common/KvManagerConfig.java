package kora.data.distributed.common;

import kora.data.distributed.internal.Arguments;

/** Whose stores a manager manages. Immutable. */
public final class KvManagerConfig {
  private final String appId;

  private KvManagerConfig(String appId) {
    this.appId = appId;
  }

  /**
   * The configuration for an application.
   *
   * @param appId 1 to 128 of the characters A-Z a-z 0-9 . _ - and no dot at the beginning
   * @return the configuration
   */
  public static KvManagerConfig of(String appId) {
    return new KvManagerConfig(Arguments.identifier(appId, "application identifier"));
  }

  /**
   * The identifier of the application.
   *
   * @return the identifier
   */
  public String getAppId() {
    return appId;
  }
}
