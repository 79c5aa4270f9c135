package zorf.namenode;

import java.lang.annotation.ElementType;
import java.lang.annotation.Retention;
import java.lang.annotation.RetentionPolicy;
import java.lang.annotation.Target;

/** Marks a method that answers the remote call of the same name and types, and says as whom it runs. */
@Retention(RetentionPolicy.RUNTIME)
@Target(ElementType.METHOD)
@interface ActsAs {
  /** As whom. */
  enum Who {
    /** The caller; a caller whom the host does not know is {@code nobody}. */
    READER,
    /** The caller; a caller whom the host does not know is refused. */
    CHANGER,
    /** The service itself, on the thread of the call: for what does not touch the caller's files. */
    SERVICE
  }

  /** {@return as whom} */
  Who value();

  /** {@return which arguments are paths, to be checked before anything else} */
  int[] paths() default {0};

  /** {@return which of them mean a link at their end itself, and not what it leads to} */
  int[] links() default {};
}
