package kora.bench;

import org.openjdk.jmh.annotations.Param;
import org.openjdk.jmh.annotations.Scope;
import org.openjdk.jmh.annotations.State;

/** What all measurements are made for, whether it counts for them or not. */
@State(Scope.Benchmark)
public class Parameters {
  @Param("kora")
  public String store;

  @Param("100000")
  public int entries;

  /** Documents have about 100 bytes whatever it says. */
  @Param("100")
  public int valueSize;
}
